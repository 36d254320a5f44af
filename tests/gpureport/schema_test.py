#!/usr/bin/env python3
"""Every JSON of gpureport is what its schema says, and the schema says all that it has."""
import copy
import json
import subprocess

import jsonschema
from samples import GPUREPORT, HEALTHY, HOSTILE, NONE, ROOT, TORN, crashed, form, run

with open(ROOT + "/host/gpuprobe-report.schema.json", encoding="utf-8") as schema_file:
    SCHEMA = json.load(schema_file)
VALIDATOR = jsonschema.Draft202012Validator(SCHEMA)


def not_started():
    return subprocess.run([GPUREPORT, "--probe", "/none", "--format", "json"], check=False,
                          stdout=subprocess.PIPE, timeout=60).stdout


def every_json_is_valid():
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    for text in [not_started()] + [form("json", report).encode()
                                   for report in (HEALTHY, HOSTILE, TORN, NONE, crashed())]:
        VALIDATOR.validate(json.loads(text))


def the_schema_knows_every_member():
    report = json.loads(form("json", crashed()))
    gpu_of = {"opengl": SCHEMA["$defs"]["opengl_gpu"], "opencl": SCHEMA["$defs"]["opencl_gpu"]}
    pairs = [(report, SCHEMA), (report["run"], SCHEMA["properties"]["run"]),
             (report["incidents"][0], SCHEMA["$defs"]["incident"])]
    for api, schema in gpu_of.items():
        pairs.append((report[api]["gpus"][0], schema))
        for part in ("limits", "extensions") if api == "opengl" else ():
            pairs.append((report[api]["gpus"][0][part], schema["properties"][part]))
    for value, schema in pairs:
        assert list(value) == list(schema["properties"]) == schema["required"], list(value)


def what_is_wrong_is_not_valid():
    good = json.loads(form("json", HEALTHY))
    wrong = [("run", "status", "fine"), ("run", "attempts", -1), ("opengl", "status", None),
             ("opengl", "gpus", {}), ("tool", "version", 1)]
    for part, member, value in wrong:
        bad = copy.deepcopy(good)
        bad[part][member] = value
        assert not VALIDATOR.is_valid(bad), (part, member)
    for member, value in (("memory_bytes", "2 GiB"), ("vendor_id", "10de"), ("tag", "gpu0"),
                          ("missing", {"name": "gone"})):
        bad = copy.deepcopy(good)
        bad["opengl"]["gpus"][0][member] = value
        assert not VALIDATOR.is_valid(bad), member


def lines_are_json_too():
    lines = [json.loads(line) for line in form("jsonl", crashed()).splitlines()]
    assert lines[0] == {"gpu": "glgpu[0]", "field": "version",
                        "value": "glgpu[0] DoGetGLVersion", "reason": None}, lines[0]
    assert lines[-1]["run"]["status"] == "crashed" and "incident" in lines[-2]


run(every_json_is_valid, the_schema_knows_every_member, what_is_wrong_is_not_valid,
    lines_are_json_too)
