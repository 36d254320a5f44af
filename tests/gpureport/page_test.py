#!/usr/bin/python3
"""Loads pages of gpureport in headless Chromium and reads them there."""
import html
import json
import os
import pathlib
import re
import subprocess
import tempfile

from samples import form, run, said

# Measures the page in a frame of the width of a phone and of a desk, with everything unfolded. The
# frame's own policy forbids the page's scripts, not those of the one who looks in.
LOOK = """<!DOCTYPE html><meta charset=utf-8><iframe id=f srcdoc="%s"></iframe><pre id=seen></pre><script>
f.onload = () => {
  const page = f.contentDocument, seen = {title: page.title, values: {}, widths: {}};
  for (const d of page.querySelectorAll('details')) d.open = true;
  for (const width of [390, 1280]) {
    f.style = `border:0;height:900px;width:${width}px`;
    seen.widths[width] = page.documentElement.scrollWidth;
  }
  for (const e of page.querySelectorAll('[data-key]'))
    seen.values[e.dataset.key] = {value: e.getAttribute('value'), text: e.textContent};
  seen.foreign = page.querySelectorAll('script, img, link, iframe, i').length;
  document.getElementById('seen').textContent = JSON.stringify(seen);
};
</script>"""


def look(state):
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, "look.html").write_text(
            LOOK % html.escape(form("html", state)), encoding="utf-8")
        root = ["--no-sandbox"] if os.geteuid() == 0 else []
        dom = said("chromium", *root, "--headless", "--disable-gpu", "--virtual-time-budget=5000",
                   f"--user-data-dir={folder}/profile", "--dump-dom", f"file://{folder}/look.html",
                   stderr=subprocess.DEVNULL)
    seen = json.loads(html.unescape(re.search(r'<pre id="seen">(.*?)</pre>', dom, re.S)[1]))
    for width, used in seen["widths"].items():
        assert used <= int(width), f"{used} pixels wide in {width}"
    assert seen["foreign"] == 0, "a text became an element"
    return seen


def fields(state):
    """The JSON's fields of GPUs as the page names them: value, and reason where there is none."""
    report = json.loads(form("json", state))
    for api, gpu in ((api, gpu) for api in ("opengl", "opencl") for gpu in report[api]["gpus"]):
        index = re.search("[0-9]+", gpu.pop("tag"))[0]
        missing = gpu.pop("missing")
        for group in ("limits", "extensions"):
            gpu.update({f"{group}.{name}": value for name, value in gpu.pop(group, {}).items()})
        for name, value in gpu.items():
            yield f"{api}[{index}].{name}", value, missing.get(name)


def every_answer_or_its_reason_is_on_the_page():
    words = {"hung": "driver hung", "crashed": "driver crashed", "failed": "driver error",
             "absent": "none"}
    for state, title in (("healthy", "Every question"), ("torn", "no end"), ("crashed", "crashed"),
                         ("hostile", "no end"), ("none", "No GPU")):
        page = look(state)
        assert title in page["title"], (title, page["title"])
        seen = page["values"]
        for key, value, reason in fields(state):
            there = seen.pop(key)
            if value is None:
                assert there["text"] == words.get(reason, reason.replace("_", " ")), (key, there)
            elif isinstance(value, str):
                clean = re.sub("[\x00-\x1f\x7f\u202e]", "\ufffd", value)
                assert clean.startswith(there["value"]) and there["value"], key
            else:
                assert json.loads(there["value"]) == value, key
        assert not seen, seen


run(every_answer_or_its_reason_is_on_the_page)
