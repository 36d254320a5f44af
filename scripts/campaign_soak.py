"""gpureport every second with a random fault: the machine stays as it was."""

import collections
import json
import os
import pathlib
import random
import time

from campaign_contract import fault_of, judge_rest, judge_status
from campaign_platforms import ROOT

# By how much a figure may be higher after than before, since others use the machine as well, and for
# how many seconds it may be more. What every run left behind would be hundreds, and stay.
SETTLES = 60
ALLOWED = {"used MiB": 200, "files": 500, "processes": 20, "our programs": 0, "our descriptors": 0,
           "our files": 5, "locks": 10}


def runs_ours(process):
    """Whether a process runs a program of ours, of any build."""
    try:
        return os.readlink(process / "exe").startswith(f"{ROOT}/build/")
    except OSError:
        return False


def state_of_machine():
    """Of the machine, which others may use as well; then of us alone."""
    words = dict(line.split(":", 1) for line in pathlib.Path("/proc/meminfo").read_text().splitlines())
    used = int(words["MemTotal"].split()[0]) - int(words["MemAvailable"].split()[0])
    return {"used MiB": used >> 10,
            "files": int(pathlib.Path("/proc/sys/fs/file-nr").read_text().split()[0]),
            "processes": sum(1 for _ in pathlib.Path("/proc").glob("[0-9]*")),
            "our programs": sum(runs_ours(folder) for folder in pathlib.Path("/proc").glob("[0-9]*")),
            "our descriptors": len(os.listdir("/proc/self/fd")),
            "our files": len([*pathlib.Path("/tmp").glob("gpuprobe-*")]),
            "locks": len(pathlib.Path("/proc/locks").read_text().splitlines())}


def judge_run(case, run):
    """The status, and what of the contract is broken that a fault in every process leaves."""
    try:
        report = json.loads(run.out)
    except ValueError as error:
        return "no JSON", [f"json: {error}"]
    return report["run"]["status"], [*judge_rest(case, run, True), *judge_status(run, report)]


def soak(campaign, minutes):
    """True when every run kept its part of the contract and the machine is as it was."""
    campaign.look_at_health()
    pick = random.Random(campaign.options.seed)
    cases = campaign.cases()
    end = time.monotonic() + 60 * minutes
    before, runs, broken = state_of_machine(), collections.Counter(), 0
    print("before:", before, flush=True)
    while time.monotonic() < end:
        began = time.monotonic()
        case = pick.choice(cases)
        run = campaign.run(case.front, fault_of(case), case.kind == "hangs", case.once, True)
        status, found = judge_run(case, run)
        runs[status] += 1
        broken += bool(found)
        if found:
            print(fault_of(case), "; ".join(found), flush=True)
        time.sleep(max(0.0, 1 - (time.monotonic() - began)))
    print(f"{sum(runs.values())} runs, {broken} broken: {dict(runs)}")
    return is_as(before) and broken == 0


def is_as(before):
    """Whether the machine comes back to what it was."""
    end = time.monotonic() + SETTLES
    while True:
        after = state_of_machine()
        grown = {name: after[name] - before[name] for name, most in ALLOWED.items()
                 if after[name] > before[name] + most}
        if not grown or time.monotonic() > end:
            break
        time.sleep(1)
    print("after: ", after)
    if grown:
        print(f"the machine is not as it was: {grown} more")
    return not grown
