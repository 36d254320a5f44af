"""gpureport every second with a random fault: the machine stays as it was."""

import collections
import json
import os
import pathlib
import random
import time

from campaign_contract import fault_of, judge_rest, judge_status
from campaign_platforms import ROOT


def runs_ours(process):
    try:
        return os.readlink(process / "exe").startswith(f"{ROOT}/build/linux/")
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


def soak(campaign, minutes):
    """True when every run kept the part of the contract that a fault in every process leaves."""
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
        report = json.loads(run.out)
        found = [*judge_rest(case, run, True), *judge_status(run, report)]
        runs[report["run"]["status"]] += 1
        broken += bool(found)
        if found:
            print(fault_of(case), "; ".join(found), flush=True)
        time.sleep(max(0.0, 1 - (time.monotonic() - began)))
    print("after: ", state_of_machine())
    print(f"{sum(runs.values())} runs, {broken} broken: {dict(runs)}")
    return broken == 0
