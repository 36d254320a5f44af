"""The machine's real OpenCL drivers, without their hardware: several in one process, in every order."""

import itertools
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys

from campaign_contract import UNSTEADY, Case, fault_of, judge_rest, judge_status
from campaign_platforms import Linux
from campaign_runs import Campaign

VENDORS = pathlib.Path("/etc/OpenCL/vendors")
# Drivers that can use the processor do, and are taken for GPUs. Platforms come as they are loaded.
VARIABLES = {"RUSTICL_ENABLE": "llvmpipe", "OCL_ICD_PLATFORM_SORT": "none",
             "OPENCL_LAYERS": f"{Linux.kit}/cpu_as_gpu.so:{Linux.kit}/fault.so",
             "POCL_MEMORY_LIMIT": "1", "GPUPROBE_SHORT": "1",
             "__EGL_VENDOR_LIBRARY_FILENAMES": "/none"}


def gpus_of(report):
    """A text a GPU of OpenCL, without what is measured and where it stands in the list."""
    return sorted(json.dumps({field: value for field, value in gpu.items()
                              if field not in UNSTEADY | {"tag", "missing"}}, sort_keys=True)
                  for gpu in report["opencl"]["gpus"])


def libraries_of(driver):
    """The driver's library and all that it needs, as the loader finds them."""
    library = (VENDORS / f"{driver}.icd").read_text().split()[0]
    program = f"import ctypes; ctypes.CDLL({library!r}); print(open('/proc/self/maps').read())"
    maps = subprocess.run([sys.executable, "-c", program], stdout=subprocess.PIPE, text=True,
                          check=False).stdout
    return {line.split()[5] for line in maps.splitlines() if len(line.split()) > 5}


def is_named(libraries, report):
    """Whether an incident's library is one of them."""
    return any(incident["library"] in libraries for incident in report["incidents"])


class IcdCampaign(Campaign):
    """Contract: together the drivers' GPUs answer what they answer alone; else an incident names
    one of the drivers, whose GPUs alone are missing. One that is lost even alone is named there and
    in each order. In `Case`, function is the drivers in their order and action how many they are."""
    section = "icds"

    def __init__(self, options):
        super().__init__(options)
        self.supervised = True
        self.libraries = {}
        self.drivers = sorted(path.stem for path in VENDORS.glob("*.icd"))

    def environment(self, front, fault):
        return {**self.platform.common, **VARIABLES, "OCL_ICD_VENDORS": str(self.folder_of(front))}

    # A busy machine compiles kernels slowly.
    def limit(self, hangs):
        return 60.0

    def program(self, supervised, hangs):
        return super().program(supervised, hangs) + (["--silence", "20"] if supervised else [])

    def folder_of(self, order):
        """The loader takes a folder's files as they come: on tmpfs the last made first, or last."""
        folder = pathlib.Path("/dev/shm") / self.scratch.name / order.replace(",", "-")
        names = [f"{name}.icd" for name in order.split(",")]
        for made in (names[::-1], names):
            if folder.exists() and os.listdir(folder) == names:
                return folder
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
            for name in made:
                (folder / name).symlink_to(VENDORS / name)
        if os.listdir(folder) != names:
            raise SystemExit(f"{folder.parent} doesn't keep the order")
        return folder

    def look_at_health(self):
        for driver in self.drivers:
            run = self.run(driver, supervised=True)
            self.healthy[driver] = json.loads(run.out)
            self.libraries[driver] = libraries_of(driver)

    def cases(self):
        orders = [order for count in range(1, len(self.drivers) + 1)
                  for order in itertools.permutations(self.drivers, count)
                  if self.options.only in ",".join(order)]
        random.Random(self.options.seed).shuffle(orders)
        return [Case("icds", ",".join(order), "1", str(len(order)), "told", False)
                for order in orders]

    def try_case(self, case):
        run = self.run(case.function, supervised=True)
        return {"fault": fault_of(case), "front": case.front, "code": run.code,
                "seconds": round(run.seconds, 2),
                "broken": list(self.judge_together(case, run)),
                "command": self.command_again(case.function)}

    def judge_together(self, case, run):
        report = json.loads(run.out)
        yield from judge_rest(case, run, True)
        if run.seconds > self.limit(False) + 1:
            yield f"json: after {run.seconds:.1f} s"
        yield from judge_status(run, report)
        found = gpus_of(report)
        drivers = case.function.split(",")
        lost = [driver for driver in drivers
                if not set(gpus_of(self.healthy[driver])) <= set(found)]
        for driver in drivers:
            fails = driver in lost or self.healthy[driver]["incidents"]
            if fails and not is_named(self.libraries[driver], report):
                yield f"culprit: no incident names {driver}, which was lost"
        if len(lost) > 1:
            yield f"answers: all of {lost} are lost"
