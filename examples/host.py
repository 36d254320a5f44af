#!/usr/bin/env python3
"""Asks the GPUs and names them: host.py LIBRARY [PROBE]"""
import ctypes
import json
import sys

library = ctypes.CDLL(sys.argv[1])
# Not c_char_p: the pointer itself is needed for gpuprobe_free.
library.gpuprobe_inspect.restype = ctypes.c_void_p
library.gpuprobe_inspect.argtypes = [ctypes.c_char_p]
library.gpuprobe_free.argtypes = [ctypes.c_void_p]

options = {"probe": sys.argv[2] if len(sys.argv) > 2 else "gpuprobe", "deadline_seconds": 20}
pointer = library.gpuprobe_inspect(json.dumps(options).encode())
if not pointer:
    sys.exit("out of memory")
report = json.loads(ctypes.string_at(pointer))
library.gpuprobe_free(pointer)

print("status:", report["run"]["status"])
for api in "opengl", "opencl":
    for gpu in report[api]["gpus"]:
        print(f"{api}: {gpu['name'] or 'unknown'}")
