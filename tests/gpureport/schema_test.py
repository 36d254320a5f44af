#!/usr/bin/env python3
"""Every JSON of gpureport is what its schema says, and the schema says all that it has."""
import copy
import functools
import json
import operator
import os
import subprocess

import jsonschema
from samples import GPUREPORT, STATES, form, read, run

SCHEMA = json.loads(read("host/gpuprobe-report.schema.json"))


def without_other_members(schema):
    """The schema, with no object of it open for members that it does not name."""
    for inner in schema.values():
        if isinstance(inner, dict):
            without_other_members(inner)
    if isinstance(schema.get("properties"), dict):
        assert schema["required"] == list(schema["properties"]), schema["required"]
        schema["additionalProperties"] = False
    return schema


def every_json_is_valid_to_the_last_member():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    validator = jsonschema.Draft202012Validator(without_other_members(copy.deepcopy(SCHEMA)))
    not_started = subprocess.run([GPUREPORT, "--probe", "/none", "--format", "json"], check=False,
                                 stdout=subprocess.PIPE, timeout=60).stdout
    for text in [not_started] + [form("json", state) for state in STATES]:
        validator.validate(json.loads(text))


def a_json_comes_whole_through_a_pipe_that_does_not_wait():
    reading, writing = os.pipe()
    os.set_blocking(writing, False)
    with subprocess.Popen([GPUREPORT, "--from", "-", "--format", "json"], stdin=subprocess.PIPE,
                          stdout=writing) as tool, open(reading, encoding="utf-8") as pipe:
        tool.stdin.write(STATES["hostile"])
        tool.stdin.close()
        os.close(writing)
        json.loads(pipe.read())


def what_is_wrong_is_not_valid():
    gpu = ("opengl", "gpus", 0)
    for *path, member, value in (
            ("run", "status", "fine"), ("run", "attempts", -1), ("opengl", "status", None),
            ("opengl", "gpus", {}), ("tool", "version", 1), (*gpu, "memory_bytes", "2 GiB"),
            (*gpu, "vendor_id", "10de"), (*gpu, "tag", "gpu0"), (*gpu, "missing", {"name": "?"})):
        bad = json.loads(form("json", "healthy"))
        functools.reduce(operator.getitem, path, bad)[member] = value
        assert not jsonschema.Draft202012Validator(SCHEMA).is_valid(bad), (path, member)


run(every_json_is_valid_to_the_last_member, a_json_comes_whole_through_a_pipe_that_does_not_wait,
    what_is_wrong_is_not_valid)
