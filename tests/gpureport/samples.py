"""Reports and JSON for the scripts that show gpureport's forms to other programs."""
import json
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
GPUREPORT = os.environ.get("GPUREPORT", ROOT + "/build/linux/bin/gpureport")
LIBRARY = "/usr/lib/libbad \"driver\"\\.so.1"

with open(ROOT + "/tests/report.golden", "rb") as golden:
    HEALTHY = golden.read()

# Texts that a page, a metric or a label must not take at their word.
HOSTILE_NAMES = [b"<script>document.title='owned'</script>\"><img src=x onerror=alert(1)>'&amp;",
                 b"nul\0 escape\x1b[31m broken\xff\xc3 half\xed\xa0\x80",
                 "\u202eright-to-left مرحبا 🎮\\".encode(), b"A" * (1 << 20)]
HOSTILE = b"NumGLGPUs=2\nNumCLGPUs=2\n" + b"".join(
    b'%s.%s="%s"\n' % (tag, key, name)
    for (tag, key), name in zip([(b"glgpu[0]", b"GLName"), (b"glgpu[1]", b"GLName"),
                                 (b"clgpu[0]", b"CLName"), (b"clgpu[1]", b"CLName")],
                                HOSTILE_NAMES)) + b'<i>Key</i>="</style>"\n' * 400
TORN = HEALTHY[:HEALTHY.index(b"NumCLGPUs")]
NONE = b'NumGLGPUs=0\nNumNativeGPUs=0\nsnifferEnd="now"\n'


def form(name, report):
    """What gpureport makes of a report or a JSON; its exit code tells the report's status."""
    done = subprocess.run([GPUREPORT, "--from", "-", "--format", name], input=report,
                          stdout=subprocess.PIPE, check=False, timeout=60)
    assert done.stdout, f"{name}: exit code {done.returncode} and nothing written"
    return done.stdout.decode()


def crashed():
    """A JSON whose first OpenCL GPU lost its measurements to a crash that came twice."""
    report = json.loads(form("json", HEALTHY))
    report["run"]["status"] = report["opencl"]["status"] = "crashed"
    gpu = report["opencl"]["gpus"][0]
    gpu["copy_bytes_per_second"] = gpu["kernel_seconds"] = None
    gpu["missing"].update(copy_bytes_per_second="crashed", kernel_seconds="not_reached")
    report["incidents"] = [{
        "kind": "crashed", "attempt": attempt, "question": "CLBandwidth", "gpu": "clgpu[0]",
        "library": LIBRARY, "library_offset": 4096, "package": "bad-driver 1.2-3",
        "signal": "SIGSEGV", "thread_state": "", "seconds": 0.25, "evidence": "crash_line",
    } for attempt in (1, 2)]
    return json.dumps(report).encode()


def run(*checks):
    """Runs functions as tests, with GoogleTest's lines, as ./test counts them."""
    failed = 0
    for check in checks:
        start, word = time.time(), "      OK "
        try:
            check()
        except Exception as error:  # pylint: disable=broad-except
            print(f"{type(error).__name__}: {error}")
            failed, word = 1, " FAILED  "
        print(f"[ {word}] gpureport.{check.__name__} ({(time.time() - start) * 1000:.0f} ms)")
    sys.exit(failed)
