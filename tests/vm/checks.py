"""Checks of the probe in a virtual machine, as root there: checks.py BOOT CHECK...

What the probe says is held against lspci, sysfs and the programs of bench/floor. Results are written
in GoogleTest's form, as ./test counts them.
"""
import glob
import os
import re
import subprocess
import sys
import time

PROBE = "build/linux/bin/gpuprobe"
FLOOR = "build/linux/bin/floor_gl"
FIRST = "0000:00:04.0"  # the card that draws
SECOND = "0000:00:05.0"  # one of its kind that doesn't
# OpenCL drivers have their own tests.
os.environ.update(OCL_ICD_VENDORS="/none", EGL_LOG_LEVEL="fatal")


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace").stdout


def read(report):
    """The answers of a report, by key."""
    return dict(re.findall(r'^([^#\s=]+)="?([^\n]*?)"?$', report, re.M))


class Report:
    """A whole report of the probe, read."""

    def __init__(self, text):
        self.text = text
        self.answers = read(text)
        self.adapters = {a["Address"]: a for a in (
            dict(re.findall(r"(\w+)=((?:(?! \w+=).)*)", line))
            for line in re.findall(r"\] adapter\[\d+\]\{ (.*)\}", self.text))}
        self.joined = re.findall(r"joined to adapter (\S+)", self.text)
        self.unused = dict(re.findall(r"hardware not used: adapter (\S+): (.*)", self.text))
        expect("snifferEnd" in self.answers, "the report has no end: " + self.text[-300:])

    @classmethod
    def ask(cls, *prefix):
        """Of a run behind the words of `prefix` (setpriv, unshare)."""
        return cls(run(*prefix, PROBE, "-verbose=1"))

    def gpu(self, key):
        return self.answers.get("glgpu[0]." + key)


def expect(condition, message):
    if not condition:
        raise AssertionError(message)


def cards():
    """The display controllers by lspci, in its order (the bus addresses')."""
    records = run("lspci", "-Dvmmnnk", "-d", "::03xx").strip().split("\n\n")
    return [dict(re.findall(r"^(\w+):\t(.*)$", record, re.M)) for record in records if record]


def number(text):
    """4660 for "Device [1234]" and for "1234"."""
    return int(re.search(r"([0-9a-f]{2,4})\]?$", text)[1], 16)


def as_floor_says(report, *prefix):
    """What OpenGL answers is what a program without our code gets on one of its devices."""
    keys = ["GLVersion", "GLVendor", "GLRenderer", "GLRectTextureSize", "HasGLNPOTSupport"]
    keys += [key[9:] for key in report.answers if key.startswith("glgpu[0].gl")]
    lines = run(*prefix, FLOOR)
    floor = read(lines)
    devices = [{key: floor.get(f"glgpu[{i}].{key}") for key in keys}
               for i in range(int(floor["NumGLGPUs"]))]
    expect({key: report.gpu(key) for key in keys} in devices, f"{lines}\n{report.text}")


def every_card():
    """Each card that lspci sees is an adapter, with the same identifiers, name and driver; the boot
    card comes first; the one that draws is a GPU, and each other one has its reason."""
    report = Report.ask()
    boot = [os.path.basename(os.path.dirname(file)) for file in
            glob.glob("/sys/bus/pci/devices/*/boot_vga") if open(file).read() == "1\n"]
    order = sorted((card["Slot"] for card in cards()), key=lambda slot: (slot not in boot, slot))
    expect(list(report.adapters) == order, f"{list(report.adapters)} for {order}")
    for card in cards():
        adapter = report.adapters[card["Slot"]]
        for field, key in [("Vendor", "VendorID"), ("Device", "DeviceID"), ("Rev", "Revision"),
                           ("SVendor", "SubsystemVendorID"), ("SDevice", "SubsystemDeviceID")]:
            # lspci leaves out a revision of 0.
            expect(int(adapter[key]) == number(card.get(field, "00")), f"{key} of {card}")
        names = [card[field].rsplit(" [", 1)[0] for field in ("Vendor", "Device")]
        # lspci's words for what pci.ids doesn't have.
        name = " ".join(names) if names[1] != "Device" else ""
        expect(adapter["Name"] == name, f"{adapter['Name']} for {card}")
        driver = card["Driver"].replace("virtio-pci", "virtio_gpu")
        expect(adapter["Driver"] == driver, f"{adapter['Driver']} for {card}")
    uses_first_card(report)
    expect(report.joined == [FIRST], report.joined)
    expect(set(report.unused) == set(order) - {FIRST}, report.unused)
    as_floor_says(report)


def uses_first_card(report):
    expect(report.answers["NumGLGPUs"] == "1", report.text)
    expect("virgl" in report.gpu("GLRenderer"), report.text)
    expect(report.gpu("GLVendorID") == str(0x1af4), report.text)
    expect(report.gpu("GLRendererID") == str(0x1050), report.text)
    expect(report.gpu("GLDriver") == "virtio_gpu", report.text)


def draws_in_software(report, unused, seen=True):
    """Then each card has its reason, if cards are seen at all, and the reasons tell of `unused`."""
    expect(report.answers["NumGLGPUs"] == "1", report.text)
    expect("llvmpipe" in report.gpu("GLRenderer"), report.text)
    expect(report.gpu("GLVendorID") == "0", report.text)
    expect(set(report.unused) == {card["Slot"] for card in cards() if seen}, report.text)
    expect(unused in report.text, report.text)


def rights():
    """The card is used by those who may open its render node, with or without the card's own node."""
    node = sorted(glob.glob("/dev/dri/renderD*"))
    card = glob.glob("/dev/dri/card*")
    rows = [  # groups, mode of render nodes, mode of cards, used
        # Debian's: group video has the cards' own nodes, group render those that draw.
        ("65534", 0o660, 0o660, False), ("44", 0o660, 0o660, False), ("104", 0o660, 0o660, True),
        ("65534", 0o666, 0o600, True), ("65534", 0o600, 0o666, False),
    ]
    for groups, node_mode, card_mode, used in rows:
        for files, mode in (node, node_mode), (card, card_mode):
            for file in files:
                os.chmod(file, mode)
        nobody = ["setpriv", "--reuid=65534", "--regid=65534", "--groups=" + groups]
        report = Report.ask(*nobody)
        if used:
            uses_first_card(report)
            as_floor_says(report, *nobody)
        else:
            draws_in_software(report, f"adapter {FIRST}: /dev/dri/renderD128: Permission denied")
    for file in node + card:
        os.chmod(file, 0o660)


def no_sys():
    prefix = ["unshare", "-m", "sh", "-c", 'mount -t tmpfs none /sys; exec "$@"', "-"]
    draws_in_software(Report.ask(*prefix), "hardware not used: there is no /sys to ask", seen=False)


def no_driver():
    """A driver is taken from one card, then its module from all."""
    unbind = open("/sys/bus/virtio/drivers/virtio_gpu/unbind", "w")
    second = glob.glob(f"/sys/bus/pci/devices/{SECOND}/virtio*")[0]
    print(os.path.basename(second), file=unbind, flush=True)
    report = Report.ask()
    uses_first_card(report)
    expect(report.unused == {SECOND: "its driver virtio-pci makes no DRM device"}, report.text)
    run("modprobe", "-r", "virtio_gpu")
    draws_in_software(Report.ask(), f"adapter {SECOND}: its driver virtio-pci makes no DRM device")


def no_modeset():
    draws_in_software(Report.ask(), f"adapter {FIRST}: its driver ")


def removed():
    """A card of the same kind that goes away in the middle changes no answer of the other one."""
    with subprocess.Popen([PROBE], stdout=subprocess.PIPE, text=True) as probe:
        lines = [probe.stdout.readline() for _ in range(4)]
        expect(lines[-1] == "ZOROGLInitialized=1\n", str(lines))
        time.sleep(0.1)
        expect(probe.poll() is None, "the probe was quicker than the card")
        open(f"/sys/bus/pci/devices/{SECOND}/remove", "w").write("1")
        rest = probe.stdout.read()
    uses_first_card(Report("".join(lines) + rest))
    expect(probe.returncode == 0, str(probe.returncode))


failed = 0
for check in sys.argv[2:]:
    start = time.monotonic()
    try:
        globals()[check]()
        word = "      OK"
    except Exception as error:  # the next check runs all the same
        print(f"{type(error).__name__}: {error}")
        word, failed = " FAILED ", 1
    print(f"[ {word} ] VirtualMachine.{sys.argv[1]}/{check} ({(time.monotonic() - start) * 1000:.0f} ms)")
sys.exit(failed)
