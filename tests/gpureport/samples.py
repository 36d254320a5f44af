"""Reports and JSON for the scripts that show gpureport's forms to other programs."""
import json
import os
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
GPUREPORT = os.environ.get("GPUREPORT", ROOT + "/build/linux/bin/gpureport")


def read(name, mode="r"):
    with open(f"{ROOT}/{name}", mode) as file:  # pylint: disable=unspecified-encoding
        return file.read()


# Texts that a page, a metric or a label must not take at their word.
HOSTILE_NAMES = [b"<script>document.title='owned'</script>\"><img src=x onerror=alert(1)>'&amp;",
                 b"nul\0 escape\x1b[31m broken\xff\xc3 half\xed\xa0\x80",
                 "\u202eright-to-left مرحبا 🎮\\".encode(), b"A" * (1 << 20)]
HEALTHY = read("tests/report.golden", "rb")
STATES = {
    "healthy": HEALTHY,
    "torn": HEALTHY[:HEALTHY.index(b"NumCLGPUs")],
    "none": b'NumGLGPUs=0\nNumNativeGPUs=0\nsnifferEnd="now"\n',
    "hostile": b"NumGLGPUs=2\nNumCLGPUs=2\n" + b"".join(
        b'%s="%s"\n' % pair for pair in zip(
            [b"glgpu[0].GLName", b"glgpu[1].GLName", b"clgpu[0].CLName", b"clgpu[1].CLName"],
            HOSTILE_NAMES)) + b'<i>Key</i>="</style>"\n' * 400,
    "crashed": read("tests/gpureport/crashed.json", "rb"),
}
CRASHED = json.loads(STATES["crashed"])


def form(name, state):
    """What gpureport makes of a sample; its exit code tells the sample's status."""
    done = subprocess.run([GPUREPORT, "--from", "-", "--format", name], input=STATES[state],
                          stdout=subprocess.PIPE, check=False, timeout=60)
    assert done.stdout, f"{name}: exit code {done.returncode} and nothing written"
    return done.stdout.decode()


def said(*command, **options):
    """All that a program wrote that must succeed."""
    done = subprocess.run(command, check=False, timeout=120, stdout=subprocess.PIPE,
                          **{"stderr": subprocess.STDOUT, **options})
    assert done.returncode == 0, (command, done.stdout)
    return done.stdout.decode()


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
