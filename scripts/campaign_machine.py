"""The recorded machines of tests/machines, with one file of the kernel's or of pci.ids at fault."""

import collections
import hashlib
import os
import pathlib
import random
import re
import shutil

from campaign_contract import LINE, Case, comparable, fault_of, judge_rest
from campaign_platforms import ROOT, Linux
from campaign_runs import Campaign

MACHINES = ROOT / "tests" / "machines"

# At each limit that a reader may have, and one beyond.
FIGURES = ["0", "-1", "255", "0x100", "0xffff", "0x10000", "0xffffff", "0x1000000", "2147483647",
           "4294967295", "4294967296", str(2 ** 50), str(2 ** 50 + 1), str(2 ** 63),
           str(2 ** 64 - 1), str(2 ** 64), "0x", "1" * 400]
DAMAGES = ["gone", "empty", "cut", "bytes", "long", "loop", "nowhere", "root", "folder", "pipe",
           "locked", "lines"]


def read_tree(text):
    """Paths with what they hold, or (where they are links) where they lead, as ("link", target)."""
    entries, folder = {}, ""
    for line in text.splitlines():
        if line.startswith("@"):
            folder = line[1:]
        elif not line.startswith("#") and line:
            name, sign, rest = re.match(r"(.*?) (->|=) ?(.*)", line).groups()
            path = f"{folder}/{name}".lstrip("/")
            content = rest.replace("\\n", "\n").replace("\\t", "\t") + "\n"
            entries[path] = ("link", rest) if sign == "->" else ("file", content.encode())
    return entries


def put(root, entries):
    for path, (kind, content) in entries.items():
        place = root / path
        place.parent.mkdir(parents=True, exist_ok=True)
        if kind == "link":
            place.symlink_to(content)
        else:
            place.write_bytes(content)


def damage(place, how, pick):
    """What was at the place is at fault."""
    content = b"" if place.is_symlink() else place.read_bytes()
    place.unlink()
    texts = {"empty": b"", "cut": content[:pick.randrange(len(content))] if content else b"",
             "bytes": pick.randbytes(300), "long": b"x" * (9 << 20), "lines": content * 3,
             **{figure: figure.encode() + b"\n" for figure in FIGURES}}
    links = {"loop": place.name, "nowhere": "no/where", "root": "/"}
    if how in texts:
        place.write_bytes(texts[how])
    elif how in links:
        place.symlink_to(links[how])
    elif how == "folder":
        place.mkdir()
    elif how == "pipe":
        os.mkfifo(place)
    elif how == "locked":
        place.write_bytes(content)
        place.chmod(0)


def devices_of(entries):
    """The nodes of each device of the machine, by the device's address."""
    devices = collections.defaultdict(list)
    for path in entries:
        match = re.fullmatch(r"sys/devices/(?:.*/)?([^/]+)/drm/(card\d+|renderD\d+)/device", path)
        if match:
            devices[match[1]].append(match[2])
    return devices


def played(devices):
    """EGL's devices: one a device of the kernel, with a renderer of its name, and a software one."""
    texts = ["lists"]
    for address, nodes in devices.items():
        node = max(nodes)
        texts += [f"device=/dev/dri/{node}", *(["render"] if node.startswith("render") else []),
                  f"renderer={address}"]
    return ";".join([*texts, "device=software", "renderer=software"])


def forget_reads(root):
    """So long ago that each read is noted where the system notes any."""
    for place in root.rglob("*"):
        os.utime(place, (0, place.lstat().st_mtime), follow_symlinks=False)


def reads(root, entries):
    """What of the entries was read or followed since forget_reads(); all where none is noted."""
    return {path for path in entries if (root / path).lstat().st_atime > 0} or set(entries)


class MachineCampaign(Campaign):
    """Contract: the probe comes back with the code of the sound machine; every key is there, once;
    an adapter whose files are sound has the same answers. In `Case`, function is a file of a
    machine and action what is wrong with it."""
    section = "machine"

    def __init__(self, options):
        super().__init__(options)
        self.read = {}
        self.machines = {folder.name: read_tree((folder / "tree").read_text())
                         for folder in sorted(MACHINES.iterdir()) if (folder / "tree").exists()}

    def environment(self, front, fault):
        root = self.scratch / "trees" / hashlib.sha256((front + fault).encode()).hexdigest()[:16]
        return {**self.platform.common, **Linux.opengl, "OCL_ICD_VENDORS": "/none",
                "GPUPROBE_PLAY": played(devices_of(self.machines[front])),
                "GPUPROBE_ROOT": str(root)}

    def program(self, supervised, hangs):
        """To root no file is locked."""
        rights = "-dac_override,-dac_read_search"
        unprivileged = ["setpriv", "--bounding-set", rights, "--inh-caps", rights]
        return (unprivileged if os.geteuid() == 0 else []) + super().program(supervised, hangs)

    def run_machine(self, machine, case=None):
        fault = fault_of(case) if case else "sound"
        root = pathlib.Path(self.environment(machine, fault)["GPUPROBE_ROOT"])
        put(root, self.machines[machine])
        if case:
            damage(root / case.function, case.action, random.Random(self.options.seed))
        else:
            forget_reads(root)
        run = self.run(machine, fault)
        if not case:
            self.read[machine] = reads(root, self.machines[machine])
        shutil.rmtree(root)
        return run

    def look_at_health(self):
        for machine in self.machines:
            run = self.run_machine(machine)
            if run.code != 0:
                raise SystemExit(f"the sound machine {machine} fails: {run.err.decode()}")
            self.healthy[machine] = run

    def cases(self):
        pick = random.Random(self.options.seed)
        every = [Case(machine, path, "1", how, "told", False)
                 for machine, entries in self.machines.items()
                 for path, (kind, content) in entries.items()
                 for how in DAMAGES + (FIGURES if kind == "file" and len(content) < 40 else [])
                 if self.options.only in f"{machine}/{path}:1:{how}"]
        pick.shuffle(every)
        if not self.options.quick:
            return every
        # Each damage once, on what is read.
        return list({case.action: case for case in every
                     if case.function in self.read[case.front]}.values())

    def try_case(self, case):
        run = self.run_machine(case.front, case)
        broken = list(judge_machine(case, run, self.healthy[case.front],
                                    devices_of(self.machines[case.front])))
        row = ["machine", "figure" if case.action in FIGURES else case.action]
        return {"fault": fault_of(case), "front": case.front, "row": row, "code": run.code,
                "seconds": round(run.seconds, 2), "broken": broken,
                "command": self.command_again(f"{case.front}/{fault_of(case)}")}


def by_renderer(lines):
    """The answers of each GPU, by what OpenGL calls it: their order may differ."""
    gpus = collections.defaultdict(list)
    for line in lines:
        match = re.match(rb"glgpu\[(\d+)\]\.(.*)", line, re.DOTALL)
        if match:
            gpus[match[1]].append(match[2])
    name = rb'GLRenderer="'
    return {next((answer for answer in answers if answer.startswith(name)), b""): answers
            for answers in gpus.values()}


def judge_machine(case, run, sound, devices):
    if not run.ended or run.seconds > 20:
        yield f"code: came back after {run.seconds:.0f} s, ended: {run.ended}"
        return
    if run.code != sound.code:
        yield f"code: {run.code}"
    yield from judge_rest(case, run, False)
    lines, expected = ([comparable(line) for line in each.out.split(b"\n")[:-1]]
                       for each in (run, sound))
    odd = [line for line in lines if not LINE.match(line)]
    if odd or not run.out.endswith(b"\n"):
        yield f"lines: torn, or no line of a report: {odd[:1]}"
    keys, wanted = ([line.split(b"=")[0] for line in each] for each in (lines, expected))
    if keys != wanted:
        yield f"lines: keys differ: {sorted(set(wanted) ^ set(keys))[:3]}"
    touched = [address for address, nodes in devices.items()
               if {address, *nodes} & set(case.function.split("/"))]
    found, whole = by_renderer(lines), by_renderer(expected)
    for renderer, answers in whole.items():
        name = renderer.decode().split('"')[1]
        if touched and name not in touched and found.get(renderer) != answers:
            yield f"answers: {name} lost some"
