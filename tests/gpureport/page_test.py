#!/usr/bin/python3
"""Loads pages of gpureport in headless Chromium and reads them there."""
import html
import json
import os
import re
import subprocess
import tempfile

from samples import HEALTHY, HOSTILE, LIBRARY, NONE, TORN, crashed, form, run

# Measures the page in a frame of the width of a phone and of a desk, with everything unfolded. The
# frame's own policy forbids the page's scripts, not those of the one who looks in.
LOOK = """<iframe id=f srcdoc="%s"></iframe><pre id=seen></pre><script>
f.onload = () => {
  const page = f.contentDocument, seen = {title: page.title, values: {}, widths: {}};
  for (const d of page.querySelectorAll('details')) d.open = true;
  for (const width of [390, 1280]) {
    f.style = `border:0;height:900px;width:${width}px`;
    seen.widths[width] = page.documentElement.scrollWidth;
  }
  for (const e of page.querySelectorAll('[data-key]'))
    seen.values[e.dataset.key] = {value: e.getAttribute('value'), text: e.textContent};
  seen.incidents = [...page.querySelectorAll('.incident')].map(e => e.textContent);
  seen.foreign = page.querySelectorAll('script, img, link, iframe, i').length;
  document.getElementById('seen').textContent = JSON.stringify(seen);
};
</script>"""


def look(report):
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + "/look.html", "w", encoding="utf-8") as file:
            file.write("<!DOCTYPE html><meta charset=utf-8>" +
                       LOOK % html.escape(form("html", report)))
        command = ["chromium", "--headless", "--disable-gpu", "--virtual-time-budget=5000",
                   f"--user-data-dir={folder}/profile", "--dump-dom", f"file://{folder}/look.html"]
        if os.geteuid() == 0:
            command.insert(1, "--no-sandbox")
        dom = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True,
                             timeout=120).stdout.decode()
    seen = json.loads(html.unescape(re.search(r'<pre id="seen">(.*?)</pre>', dom, re.S)[1]))
    for width, used in seen["widths"].items():
        assert used <= int(width), f"{used} pixels wide in {width}"
    assert seen["foreign"] == 0, "a text became an element"
    return seen


def fields(report):
    """The JSON's fields of GPUs as the page names them: value, and reason where there is none."""
    found = {}
    for api in ("opengl", "opencl"):
        for index, gpu in enumerate(json.loads(form("json", report))[api]["gpus"]):
            flat = {**gpu, **{f"{group}.{name}": value for group in ("limits", "extensions")
                              for name, value in gpu.get(group, {}).items()}}
            for name, value in flat.items():
                if name not in ("tag", "missing", "limits", "extensions"):
                    found[f"{api}[{index}].{name}"] = (value, gpu["missing"].get(name))
    return found


def every_answer_or_its_reason_is_on_the_page():
    words = {"hung": "driver hung", "crashed": "driver crashed", "not_reached": "not reached",
             "not_asked": "not asked", "failed": "driver error", "absent": "none",
             "unknown": "unknown"}
    for report in (HEALTHY, TORN, crashed(), HOSTILE):
        seen, told = look(report)["values"], fields(report)
        assert seen.keys() == told.keys(), seen.keys() ^ told.keys()
        for key, (value, reason) in told.items():
            if value is None:
                assert seen[key]["text"] == words[reason], (key, seen[key], reason)
            elif isinstance(value, str):
                clean = re.sub("[\x00-\x1f\x7f\u202e]", "\ufffd", value)
                assert clean.startswith(seen[key]["value"]) and seen[key]["value"], key
            elif isinstance(value, bool):
                assert seen[key]["value"] == str(value).lower(), key
            else:
                assert float(seen[key]["value"]) == value, key


def incidents_come_with_culprit_and_advice():
    incidents = look(crashed())["incidents"]
    assert len(incidents) == 2, incidents
    for word in (LIBRARY, "CLBandwidth", "clgpu[0]", "bad-driver 1.2-3", "SIGSEGV", "What to do"):
        assert word in incidents[0], word


def titles_tell_the_status():
    for report, word in ((HEALTHY, "Every question"), (TORN, "no end"), (crashed(), "crashed"),
                         (NONE, "No GPU")):
        assert word in look(report)["title"], word


run(every_answer_or_its_reason_is_on_the_page, incidents_come_with_culprit_and_advice,
    titles_tell_the_status)
