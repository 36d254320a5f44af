"""A campaign: runs of the probe or gpureport with faults, each judged, and what came of them."""

import collections
import concurrent.futures
import hashlib
import itertools
import json
import os
import pathlib
import random
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
import time

from campaign_contract import (PATIENCE, Case, Healthy, Run, answers_of, comparable, fault_of,
                               first_struck, has_struck, judge_probe, judge_report,
                               lines_of_gpus)
from campaign_platforms import ROOT, Linux, Windows
from campaign_sessions import Sessions

# What hangs on purpose is ended this long after it was struck.
HANGS_FOR = 0.3

Action = collections.namedtuple("Action", "text kind")
# Kinds say what a host may rely on beside the lines before the call:
#   harmless  the report is that of a healthy run
#   told      the probe lives: a failing question or another answer, and the code says so
#   fatal     the driver's signal, if the action is reached
#   hangs     the process stays until it is ended
#   leaves    the driver ends the process by itself
ACTIONS = [
    Action("error", "told"), Action("error=0x0502", "told"), Action("null", "told"),
    Action("empty", "told"), Action("garbage=%d", "told"), Action("huge", "told"),
    Action("throw", "told"), Action("current", "told"),
    Action("noise", "harmless"), Action("sleep=5", "harmless"), Action("fork", "harmless"),
    Action("close", "harmless"), Action("chdir", "harmless"), Action("signal", "harmless"),
    Action("locale", "harmless"), Action("late", "harmless"),
    Action("crash", "fatal"), Action("abort", "fatal"), Action("stack", "fatal"),
    Action("thread", "fatal"), Action("exit=0", "leaves"),
    Action("hang", "hangs"), Action("spin", "hangs"), Action("kernel", "hangs"),
]
# Each broke the contract once, and is a part of every quick campaign that has the call.
ONCE_BROKEN = [
    "eglDestroyContext:2:exit=0",  # a polite end when all is answered
    "clGetEventProfilingInfo:*:thread",  # two threads crash, and one writes behind the crash line
    "clLoad:1:crash"]  # Windows' loader goes on without the library


class Campaign:
    section = ""

    def __init__(self, options):
        self.options = options
        through = "-report" if options.report else ""
        self.folder = ROOT / "build" / "campaign" / ((self.section or options.platform) + through)
        self.folder.mkdir(parents=True, exist_ok=True)
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="campaign-"))
        self.platform = Windows() if options.platform == "windows" else Linux(options.build)
        self.sessions = Sessions()
        self.healthy = {}
        self.deadline = 3.0
        self.supervised = options.report
        self.fronts = (self.platform.both if options.report
                       else {**self.platform.fronts, **self.platform.detours})

    # How a run is started, as variables and as a line to repeat it by hand.
    def environment(self, front, fault):
        variables = {**self.platform.common, **self.fronts[front]}
        if fault:
            # The new one comes first: it is of a function that the front's own don't touch.
            variables["GPUPROBE_FAULT"] = ";".join(
                filter(None, [fault, variables.get("GPUPROBE_FAULT")]))
        return variables

    def command(self, front, fault, hangs=False, once=False):
        words = [f"{name}={value}" for name, value in self.environment(front, fault).items()]
        # The shell that repeats it makes the name of a new file.
        new_file = f'GPUPROBE_FAULT_ONCE="{self.platform.path("$(mktemp -u)")}" ' if once else ""
        return (f"{shlex.join(['env', *words])} {new_file}"
                f"{shlex.join(self.program(self.supervised, hangs))}")

    def command_again(self, only):
        """What tries the cases with this text again."""
        report = ["--report"] if self.options.report else []
        return shlex.join(["scripts/campaign", self.section, *report, "--build", self.options.build,
                           "--seed", str(self.options.seed), "--only", only])

    def program(self, supervised, hangs):
        if supervised:
            return [*self.platform.report, "--deadline", f"{self.limit(hangs):.1f}"]
        return self.platform.probe

    def limit(self, hangs):
        """A fault that hangs takes all of its deadline; no other one must, however busy the machine."""
        return self.deadline if hangs else 4 * self.deadline

    def run(self, front, fault="", hangs=False, once=False, supervised=False):
        place = pathlib.Path(tempfile.mkdtemp(dir=self.scratch))
        trace, home = place / "trace", place / "home"
        home.mkdir()
        out = open(place / "out", "a+b")
        err = open(place / "err", "a+b")
        # A healthy run's lines and calls go into one file, in their order.
        variables = {**os.environ, **self.environment(front, fault), **self.platform.files_in(home),
                     "POCL_CACHE_DIR": str(self.scratch / "pocl"),
                     "GPUPROBE_FAULT_TRACE":
                     self.platform.path(trace if fault or supervised else place / "out")}
        if once:
            variables["GPUPROBE_FAULT_ONCE"] = self.platform.path(place / "once")
        begin = time.monotonic()
        child = self.sessions.start(self.program(supervised, hangs), cwd=home, env=variables,
                                    stdin=subprocess.DEVNULL, stdout=out, stderr=err)
        ended = self.wait(child, lambda: has_struck(trace, fault), hangs and not supervised)
        seconds = time.monotonic() - begin
        left = self.sessions.end(child.pid)
        out.seek(0)
        err.seek(0)
        struck = has_struck(trace, fault)
        files = [str(path.relative_to(home)) for path in home.rglob("*")]
        result = Run(child.returncode, *(stream.read().replace(b"\r\n", b"\n")
                                         for stream in (out, err)), struck, ended, seconds,
                     {"processes": left, "files": files}, self.platform.startup)
        out.close()
        err.close()
        shutil.rmtree(place)
        return result

    def wait(self, child, struck, hangs):
        """False when the child had to be ended."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                child.wait(0.05 if hangs else max(0.0, deadline - time.monotonic()))
                return True
            except subprocess.TimeoutExpired:
                pass
            # "thread" and "late" strike, too, but later.
            if hangs and struck():
                time.sleep(HANGS_FOR)
                break
        alive = child.poll() is None
        if alive:
            child.kill()
        child.wait()
        return not alive

    def clear(self):
        for place in (self.scratch, pathlib.Path("/dev/shm") / self.scratch.name):
            shutil.rmtree(place, ignore_errors=True)

    def look_at_health(self):
        """What a healthy run writes, and after how many lines each call comes."""
        for front in self.fronts:
            run = self.run(front)
            if run.code != 0:
                sys.exit(f"the healthy run fails ({run.code}): {self.command(front, '')}\n"
                         f"{run.err.decode(errors='replace')}")
            lines, calls = [], collections.defaultdict(list)
            for line in run.out.decode("latin-1").splitlines(keepends=True):
                if line.startswith("call "):
                    calls[line.split()[1]].append(len(lines))
                else:
                    lines.append(comparable(line.encode("latin-1")))
            self.healthy[front] = Healthy(lines, calls, self.healthy_report(front, lines))

    def healthy_report(self, front, lines):
        if not self.supervised:
            return None
        self.deadline = 60.0
        runs = [self.run(front, supervised=True) for _ in range(3)]
        if any(run.code != 0 for run in runs):
            sys.exit(f"the healthy run fails: {self.command(front, '')}\n{runs[0].out.decode()}")
        # A machine that is busy with us alone answers in a fraction of the deadline.
        self.deadline = max(3.0, 8 * max(run.seconds for run in runs))
        report = json.loads(runs[0].out)
        fields = collections.Counter(tag for api in ("opengl", "opencl")
                                     for tag, _ in answers_of(report, api))
        if any(lines_of_gpus(lines)[tag] != count for tag, count in fields.items()):
            sys.exit("a GPU's fields are not its lines")
        return report

    def functions(self):
        """Front -> what is called through it, and the loading of its libraries."""
        found, tried = {}, set()
        for front, (_, calls, _) in self.healthy.items():
            loads = {"opengl": ["eglLoad"], "opencl": ["clLoad"]}.get(front, ["eglLoad", "clLoad"])
            functions = [*dict.fromkeys([*loads, *calls])]
            if front in self.platform.detours:
                functions = [function for function in functions if function not in tried]
            tried.update(functions)
            found[front] = functions
        return found

    def case(self, front, fault, kind):
        function, call, action = fault.split(":")
        if function.endswith("Load") and action in self.platform.caught_at_load:
            kind = "told"
        return Case(front, function, call, action, kind, self.supervised and call != "*")

    def every_case(self, pick):
        for front, functions in self.functions().items():
            for function, action in itertools.product(functions, ACTIONS):
                made = len(self.healthy[front].calls.get(function, [0]))
                text = action.text % pick.randrange(1, 1000) if "%" in action.text else action.text
                if text == "current" and function.startswith("cl"):
                    continue
                wanted = ["1", "*"] + ([str(pick.randrange(2, made + 1))] if made > 1 else [])
                if function.endswith("Load"):
                    # A library that is loaded gives nothing back.
                    wanted = ["1"] if action.kind != "told" else []
                for call in wanted:
                    yield self.case(front, f"{function}:{call}:{text}", action.kind)

    def once_broken(self):
        kinds = {action.text: action.kind for action in ACTIONS}
        for fault in ONCE_BROKEN:
            function, _, action = fault.split(":")
            for front, functions in self.functions().items():
                if function in functions:
                    yield self.case(front, fault, kinds[action])

    def cases(self):
        pick = random.Random(self.options.seed)
        every = self.only(self.every_case(pick))
        pick.shuffle(every)
        return self.quick_of(every) if self.options.quick else every

    def only(self, cases):
        return [case for case in cases if self.options.only in fault_of(case)]

    def quick_of(self, every):
        """Each action twice, calls by the seed; by the probe alone each function as well."""
        chosen = self.only(self.once_broken())
        functions, actions = set(), collections.Counter()
        for case in every:
            word = case.action.split("=")[0]
            is_new = case.function not in functions and not self.supervised
            if (is_new or actions[word] < 2) and case not in chosen:
                functions.add(case.function)
                actions[word] += 1
                chosen.append(case)
        return chosen

    def judge(self, case, run):
        """What of the contract is broken, as texts."""
        healthy = self.healthy[case.front]
        made = healthy.calls.get(case.function)
        before = made[first_struck(case) - 1] if made else 0
        if self.supervised:
            return list(judge_report(case, run, healthy, before, self.limit(case.kind == "hangs"),
                                     self.platform.culprits))
        return judge_probe(case, run, healthy, before, self.platform.fatal)

    def try_case(self, case):
        begin = time.monotonic()
        run = self.run(case.front, fault_of(case), case.kind == "hangs", case.once, self.supervised)
        broken = self.judge(case, run)
        return {"fault": fault_of(case), "front": case.front, "kind": case.kind,
                "code": run.code, "struck": run.struck,
                "seconds": round(time.monotonic() - begin, 2), "broken": broken,
                "command": self.command(case.front, fault_of(case), case.kind == "hangs", case.once)}

    # The state of a campaign that was cut off.
    def fingerprint(self):
        sum_ = hashlib.sha256()
        own = sorted(pathlib.Path(__file__).parent.glob("campaign*"))
        report = [self.platform.tool] if self.supervised else []
        for path in [*self.platform.programs, *report, *filter(pathlib.Path.is_file, own)]:
            sum_.update(path.read_bytes())
        return sum_.hexdigest()[:16]

    def execute(self):
        self.look_at_health()
        cases = self.cases()[:self.options.runs]
        state = self.folder / f"{self.options.seed}-{self.fingerprint()}.state"
        done = {}
        if self.options.quick:
            # Short enough to be true every time.
            state.unlink(missing_ok=True)
        if state.exists():
            for line in state.read_text().splitlines():
                result = json.loads(line)
                done[result["front"], result["fault"]] = result
        left = [case for case in cases if (case.front, fault_of(case)) not in done]
        progress = Progress(len(cases), len(cases) - len(left))
        deadline = time.monotonic() + 60 * self.options.minutes
        lock = threading.Lock()

        def one(case):
            if time.monotonic() > deadline:
                return
            result = self.try_case(case)
            if result["broken"] and not self.options.quick:
                # Once more alone would hide what happens now and then: it is only noted.
                result["again"] = self.try_case(case)["broken"]
            with lock, open(state, "a") as file:
                file.write(json.dumps(result) + "\n")
                done[case.front, fault_of(case)] = result
                progress.step(result)

        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            for future in [pool.submit(one, case) for case in left]:
                future.result()
        progress.end()
        wanted = [(case.front, fault_of(case)) for case in cases]
        return self.write([done[key] for key in wanted if key in done], len(cases))

    def write(self, results, planned):
        broken = [result for result in results if result["broken"]]
        (self.folder / "campaign.json").write_text(json.dumps({
            "platform": self.folder.name, "seed": self.options.seed,
            "quick": self.options.quick, "planned": planned, "runs": len(results),
            "held": len(results) - len(broken), "results": results}, indent=1) + "\n")
        table = table_of(results)
        (self.folder / "table.txt").write_text(table)
        print(table, end="")
        for result in broken[:20]:
            print(f"\n{'; '.join(result['broken'])}\n  {result['command']}")
        return not broken and len(results) == planned


def table_of(results):
    rows = collections.defaultdict(lambda: [0, 0])
    for result in results:
        front, word = result.get("row") or (result["front"],
                                            result["fault"].rsplit(":", 1)[1].split("=")[0])
        for key in ((front, word), (front, "all")):
            rows[key][0] += 1
            rows[key][1] += bool(result["broken"])
    lines = ["front   action    runs  held  broken"]
    for (front, word), (runs, broken) in sorted(rows.items()):
        lines.append(f"{front:7} {word:8} {runs:5} {runs - broken:5} {broken:7}")
    return "\n".join(lines) + "\n"


class Progress:
    def __init__(self, total, done):
        self.total, self.done, self.first, self.broken = total, done, done, 0
        self.begin = self.last = time.monotonic()

    def step(self, result):
        self.done += 1
        self.broken += bool(result["broken"])
        now = time.monotonic()
        if now - self.last < (1 if sys.stderr.isatty() else 30):
            return
        self.last = now
        left = (now - self.begin) / (self.done - self.first) * (self.total - self.done)
        print(f"{self.done} of {self.total}, {self.broken} broken, {left / 60:.0f} min left",
              end="\r" if sys.stderr.isatty() else "\n", file=sys.stderr, flush=True)

    def end(self):
        print(f"{self.done} of {self.total} in {time.monotonic() - self.begin:.0f} s", file=sys.stderr)
