"""What a host relies on, checked from outside: of the probe alone and through gpureport."""

import collections
import json
import re

# A run that is to come back has this long: a busy machine is no fault.
PATIENCE = 120.0

Case = collections.namedtuple("Case", "front function call action kind once")
# left: what a run leaves behind, "processes" as (pid, state) and "files".
# startup: what the system needs to start any program, as Wine does.
Run = collections.namedtuple("Run", "code out err struck ended seconds left startup")
# lines: what a healthy run writes; calls: after how many lines each call of a function comes;
# answers: through gpureport, its JSON.
Healthy = collections.namedtuple("Healthy", "lines calls answers")

MEASURED = re.compile(rb"^(sniffer(?:Start|End)|\w+\[\d+\]\.CL(?:Bandwidth|Compute))="
                      rb'(?:"\d{4}-\d\d-\d\d_\d\d:\d\d:\d\d"|-?(?:[\d.]+(?:e[-+]\d+)?|inf|nan))$')
LINE = re.compile(rb"^(# .*|[A-Za-z]\w*(\[\d+\])?(\.[^=]+)?=.*)$", re.DOTALL)
CRASH_LINE = re.compile(rb"^crash: .+\n", re.MULTILINE)


def has_struck(trace, fault):
    """Whether the fault did; others may lead to where it does."""
    function = fault.split(":")[0].encode()
    return trace.exists() and b"call " + function + b" struck" in trace.read_bytes()


def fault_of(case):
    return f"{case.function}:{case.call}:{case.action}"


def comparable(line):
    """A line without what differs from run to run."""
    return MEASURED.sub(rb"\1=...", line.rstrip(b"\r\n"))


def judge_probe(case, run, healthy, before, fatal):
    """What of the contract is broken, as texts; `before` lines come before the faulty call."""
    return [*judge_strike(case, run, healthy.calls), *judge_lines(case, run, healthy.lines, before),
            *judge_code(case, run, healthy.lines, fatal), *judge_rest(case, run, False)]


def first_struck(case):
    """The number of the call that goes wrong first."""
    return int(case.call) if case.call.isdigit() else 1


def judge_strike(case, run, calls):
    """Until the fault nothing differs from a healthy run, so what that one calls is struck."""
    if not run.struck and (case.function.endswith("Load")
                           or first_struck(case) <= len(calls.get(case.function, []))):
        yield "strike: the call was not made, or did not go wrong"


def judge_lines(case, run, healthy, before):
    lines = run.out.split(b"\n")
    torn = lines.pop()
    if torn:
        yield f"lines: torn: {torn[:60]!r}"
    if b"driver's half" in run.out:
        yield "lines: noise among them"
    lines = [comparable(line) for line in lines]
    expected = healthy[:before]
    if lines[:before] != expected:
        at = next((i for i, pair in enumerate(zip(lines, expected)) if pair[0] != pair[1]),
                  min(len(lines), before))
        yield f"lines: number {at + 1} of the {before} before the call is not that of a healthy run"
    odd = [line for line in lines if not LINE.match(line)]
    # A driver's own text may hold a line end; ours don't.
    if odd and case.action.split("=")[0] != "garbage":
        yield f"lines: no line of a report: {odd[0][:60]!r}"
    keys = collections.Counter(line.split(b"=")[0] for line in lines
                               if not line.startswith((b"# ", b"gputag.")) and b"=" in line)
    twice = [key for key, count in keys.items() if count > 1]
    if twice and case.action.split("=")[0] != "garbage":
        yield f"lines: twice: {twice[0][:60]!r}"
    if case.kind == "harmless" and lines != healthy:
        yield "lines: a harmless fault changes the report"


def is_complete(run, healthy):
    """Whether nothing of what the report itself promises is missing."""
    lines = [comparable(line) for line in run.out.split(b"\n")]
    if b"snifferEnd=..." not in lines:
        return False
    keys = {line.split(b"=")[0] for line in lines}
    counts = dict(re.findall(rb"^Num(GL|CL)GPUs=(\d+)$", run.out, re.MULTILINE))
    for kind, count in counts.items():
        tag = kind.lower() + b"gpu["
        questions = {line.split(b"=")[0].split(b"]", 1)[1] for line in healthy
                     if line.startswith(tag + b"0]")}
        for index in range(int(count)):
            if any(tag + str(index).encode() + b"]" + question not in keys for question in questions):
                return False
    return True


def judge_code(case, run, healthy, fatal):
    word = case.action.split("=")[0]
    if case.kind == "hangs":
        if run.struck and run.ended:
            yield f"code: {run.code} where the driver hangs"
        return
    if not run.ended:
        yield f"code: still running after {PATIENCE:.0f} s"
        return
    if run.code not in (0, 2, 4):
        if run.code not in fatal.get(word, ()):
            yield f"code: {run.code} is neither documented nor the driver's"
            return
        # Other threads of a driver may still write when it stands there.
        lines = CRASH_LINE.findall(run.err)
        if not lines or (word != "thread" and not run.err.rstrip().endswith(lines[-1].rstrip())):
            yield "code: the last line does not name the crash"
        return
    if run.code == 0 and not is_complete(run, healthy):
        yield "code: 0, but answers are missing"
    if case.kind == "fatal" and run.struck and word != "thread":
        yield f"code: {run.code} after a fatal fault"
    if case.kind == "harmless" and run.code != 0:
        yield f"code: {run.code} after a harmless fault"


def judge_rest(case, run, supervised):
    # A driver's own child is not the probe's to end, but its host's: one that a fault left, or that
    # a driver such as PoCL had at work when the probe died.
    drivers_own = case.action == "fork" or run.code < 0
    if run.left["processes"] and (supervised or not drivers_own):
        yield f"rest: processes {run.left['processes']}"
    if run.left["files"]:
        yield f"rest: files {run.left['files'][:3]}"


# Through gpureport.

# What is measured.
UNSTEADY = {"copy_bytes_per_second", "kernel_seconds"}
EXIT_CODES = {"complete": {0, 4}, "partial": {3}, "torn": {3}, "hung": {5}, "crashed": {6},
              "failed_to_start": {7}, "stuck": {8}}
INCIDENTS = {"crash": "crashed", "abort": "crashed", "stack": "crashed", "exit": "exited",
             "hang": "hung", "spin": "hung", "kernel": "hung"}
# Why an answer is missing: what a fault took, and what is missing on a healthy machine, too.
LOST = {"hung", "crashed", "not_reached", "failed"}
REASONS = LOST | {"not_asked", "absent", "unknown"}
# The status that an incident makes where something is lost, the worst first.
STATUSES = {"stuck": "stuck", "hung": "hung", "crashed": "crashed", "exited": "crashed"}


def fields_of(gpu):
    """Path -> value, in the order of the questions."""
    fields = {}
    for field, value in gpu.items():
        if field in ("limits", "extensions"):
            fields.update((f"{field}.{name}", part) for name, part in value.items())
        elif field not in ("tag", "missing"):
            fields[field] = value
    return fields


def answers_of(report, api):
    """(tag, path) -> what was answered, or why nothing was. A measurement is there or not."""
    return {(gpu["tag"], path): {"missing": gpu["missing"].get(path)} if value is None
            else path in UNSTEADY or value
            for gpu in report[api]["gpus"] for path, value in fields_of(gpu).items()}


def lines_of_gpus(lines):
    """Tag -> how many of the lines are a GPU's answers."""
    return collections.Counter(line.split(".")[0] for line in text_of(lines))


def judge_status(run, report):
    """Status, exit code, incidents and reasons say the same."""
    apis = [report["opengl"], report["opencl"]]
    said = {api["status"] for api in apis}
    for gpu in (gpu for api in apis for gpu in api["gpus"]):
        said |= set(gpu["missing"].values())
        nulls = {path for path, value in fields_of(gpu).items() if value is None}
        if nulls != set(gpu["missing"]) or not REASONS.issuperset(gpu["missing"].values()):
            yield f"reasons: of {gpu['tag']}: {gpu['missing']}, null are {sorted(nulls)}"
    status, wanted = report["run"]["status"], "complete"
    if said & LOST:
        # What goes wrong after the last answer costs none.
        kinds = {each["kind"] for each in report["incidents"] if each["question"] != "release"}
        wanted = next((made for kind, made in STATUSES.items() if kind in kinds), "partial")
    if status != wanted:
        yield f"status: {status}, not {wanted}"
    if run.code not in EXIT_CODES[status]:
        yield f"status: {status}, but exit code {run.code}"


def judge_report(case, run, healthy, before, deadline, culprits):
    """The same of a run through gpureport. By rule: a fault that strikes once costs its own question,
    or in a stage its API; one in every process leaves the other API, and all earlier answers."""
    yield from judge_strike(case, run, healthy.calls)
    if run.seconds > deadline + 1 + run.startup:
        yield f"json: after {run.seconds:.1f} s with a deadline of {deadline:.1f} s"
    try:
        report = json.loads(run.out)
    except ValueError as error:
        yield f"json: {error}"
        return
    yield from judge_rest(case, run, True)
    yield from judge_status(run, report)
    asked = next((line[len("# asking "):] for line in reversed(text_of(healthy.lines[:before]))
                  if line.startswith("# asking ")), "")
    if run.struck:
        yield from judge_incident(case, report, asked, culprits)
    yield from judge_answers(case, report, healthy, before, asked)


def text_of(lines):
    return [line.decode("latin-1") for line in lines]


def judge_incident(case, report, asked, culprits):
    word = case.action.split("=")[0]
    wanted = INCIDENTS.get(word)
    if not wanted or case.kind == "told":
        # A loader that can't list its platforms ends the probe with the code that says so.
        odd = [each["kind"] for each in report["incidents"] if each["signal"] != "exit code 2"]
        if word != "thread" and odd:
            yield f"status: an incident after {word}: {odd[0]}"
        return
    incident = next(iter(report["incidents"]), None)
    if not incident:
        yield f"status: no incident after {word}"
        return
    if incident["kind"] != wanted:
        yield f"status: {incident['kind']} after {word}"
    question = asked.split(".", 1)[1] if asked.startswith(("glgpu[", "clgpu[")) else asked
    # Several named lines share a question's name; the library is looked for by its own.
    # What loads a library is asked in the stage that opens it.
    loading = case.function.endswith("Load") and incident["question"] in (
        "ZOROGLInitialized", "ZOROCLInitialized")
    if incident["question"] != question and not loading:
        yield f"status: at {incident['question']}, not at {question}"
    if word in culprits and not str(incident["library"]).lower().endswith(
            culprits[word][case.function.startswith("cl")]):
        yield f"culprit: {incident['library']}"


def judge_answers(case, report, healthy, before, asked):
    own, other = (("opencl", "opengl") if case.function.startswith("cl") else ("opengl", "opencl"))
    # Crashes at a time of its own, in whatever is asked then.
    if case.action == "thread":
        return
    good, got = ({api: answers_of(each, api) for api in (own, other)}
                 for each in (healthy.answers, report))
    if got[other] != good[other]:
        yield f"answers: {other} lost some"
    changed = [key for key, value in good[own].items() if got[own].get(key) != value]
    # A GPU's fields stand in the order of its lines.
    done, places, struck = lines_of_gpus(healthy.lines[:before]), collections.Counter(), None
    for tag, path in good[own]:
        if places[tag] < done[tag] and (tag, path) in changed:
            yield f"answers: {tag}.{path} came before the call and is another, or lost"
        if places[tag] == done[tag] and tag == asked.split(".")[0]:
            struck = (tag, path)
        places[tag] += 1
    if case.kind == "harmless" and changed:
        yield f"answers: a harmless fault changes {changed[:3]}"
    beside = [key for key in changed if key != struck and not is_kept(case, struck, key)]
    # OpenGL's errors stay pending until they are asked for, by a later question if not by this one.
    pending = own == "opengl" and case.kind == "told" and case.action != "throw"
    if case.once and struck and len(beside) > pending:
        yield f"answers: one fault cost {beside[:3]}, too"


# What is decided by a context's version and list of extensions, beside the extensions themselves.
BY_LIST = {"npot_textures", "glsl_program_links", "framebuffer_ok"}


def is_kept(case, struck, key):
    """Whether an answer comes from what an earlier lie of OpenGL's left behind."""
    if not struck or case.function.startswith("cl") or case.kind != "told" or case.action == "throw":
        return False
    # The first question makes the context current, and version and extensions are read then alone.
    if struck[1] == "version":
        return key[1] in BY_LIST or key[1].startswith("extensions.")
    # Another context became current between glBegin and glEnd: in ours the drawing never ends, and
    # until it does OpenGL answers nothing.
    return case.action == "current" and struck[1] == "framebuffer_ok"
