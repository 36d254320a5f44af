#!/usr/bin/env python3
"""What the documents say can be typed, and what they show is what the programs write.

Command lines that ask this machine run here; our scripts that build, install or test are looked up
in their own usage. The system's programs (apt, systemctl) are left out. A block with a "$" holds a
command and what it writes: values may differ, labels, keys and words may not.
"""
import concurrent.futures
import functools
import glob
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)) + "/gpureport")
# pylint: disable=wrong-import-position
from samples import GPUREPORT, ROOT, STATES, form, read, run, said

BUILD = ROOT + "/build/linux"
DOCUMENTS = {name: read(name)
             for name in ["README.md", *sorted(glob.glob("docs/*.md", root_dir=ROOT))]}
FOLDERS = {name for name in next(os.walk(ROOT))[1] if name[0] != "."} - {"build"}
GUIDE = DOCUMENTS["docs/report.md"]
BLOCK = re.compile(r"^```\w*\n((?:.*\n)*?)```$|(?<=\n\n)((?: {4}.*\n|\n(?= {4}))+)", re.M)
ASKING = re.compile(r"(?:ExecStart=/usr/bin/)?((?:gpureport|gpuprobe|\./run) .*|\./run)")
SCRIPT = re.compile(r"(?:scripts|bench|fuzz)/[a-z]\S*|\./test")
WRITTEN = []  # by all command lines that ran
ENVIRONMENT = {
    **os.environ, "PATH": f"{BUILD}/bin:{os.environ['PATH']}", "kit": BUILD + "/rehearsal",
    "OCL_ICD_VENDORS": "/etc/OpenCL/vendors/pocl.icd", "POCL_MEMORY_LIMIT": "1",
    "OPENCL_LAYERS": BUILD + "/rehearsal/fault.so", "GPUPROBE_SHORT": "1",
    "CMAKE_GENERATOR": "Ninja", "LC_ALL": "C.UTF-8"}


def blocks(name):
    return [fenced or re.sub("^    ", "", indented, flags=re.M)
            for fenced, indented in BLOCK.findall(DOCUMENTS[name])]


def spans(name):
    text = BLOCK.sub("", DOCUMENTS[name]).replace(r"\|", "|")
    return [" ".join(span.split()) for span in re.findall("`([^`]+)`", text)]


def commands(name):
    """Every command line, with what is shown of its output."""
    for block in blocks(name):
        block = block.replace("\\\n", "")
        for shown in re.findall(r"^\$ (.*\n(?:(?!\$ ).*\n)*)", block, re.M):
            yield tuple(shown.split("\n", 1))
        if not block.startswith("$ "):
            yield from ((line.strip(), "") for line in block.splitlines())
    yield from ((span, "") for span in spans(name))


def pattern(line):
    """A line of a document with its values left open; the label of a row, the key of a value."""
    row = re.match(r"( {0,2}[A-Z][A-Za-z ]*?(?: \d+)?) {2,}\S", line)
    key = re.match(r"((?:# \+)?[^\s=]+=)([\"[]?)", line)
    if row:
        return re.escape(row[1]) + r" {2,}\S"
    if key:
        return "^" + re.escape(key[1]) + (re.escape(key[2]) or r"[^\"[\n]")
    if line.strip() == "..." or line.startswith(" " * 16):
        return ""
    values = {r"\s+": r"\s+", r"\S*[/\\]\S*": r"\S+", "SIG[A-Z]+|0x[0-9A-Fa-f]+": r"(SIG|0x)\w+",
              r"\d[\d.]*": r"\d[\d.]*", r"\b(?:ns|µs|ms|s)\b": "(ns|µs|ms|s)"}
    tokens = "|".join(f"({value})" for value in values) + "|."
    return re.sub(tokens, lambda token: list(values.values())[token.lastindex - 1]
                  if token.lastindex else re.escape(token[0]), line.strip())


def same_members(shown, written):
    return not isinstance(shown, dict) or not shown or shown.keys() == written.keys() and all(
        same_members(shown[key], written[key]) for key in shown)


def compare(shown, written):
    if shown.startswith("{"):
        shown, written = json.loads(shown), json.loads(written[written.index("{"):])
        assert same_members(shown, written), written
        return
    place = 0
    for line in shown.splitlines():
        if line.startswith("# no GPU") and glob.glob("/dev/dri/render*"):
            continue
        found = re.compile(pattern(line), re.M).search(written, place)
        assert found, f"shown, but not written: {line}\n{written}"
        place = found.end()


def run_document(name):
    """Runs what asks this machine, in a folder that looks like the tree; all that was written."""
    everything = ""
    with tempfile.TemporaryDirectory() as folder:
        for each in os.listdir(ROOT):
            os.symlink(f"{ROOT}/{each}", f"{folder}/{each}")
        pathlib.Path(folder, "report.json").write_bytes(STATES["crashed"])
        for line, shown in dict.fromkeys(commands(name)):
            asking = ASKING.fullmatch(line)
            if not asking and not shown:
                continue
            line = re.sub(r"(?<=\s)\[\w+\]|…", "", asking[1] if asking else line)
            line = re.sub(r"(-o|--from) /\S+/", r"\1 ", line.replace("PROGRAM", "true"))
            done = subprocess.run(["bash", "-c", line], env=ENVIRONMENT, cwd=folder, timeout=300,
                                  check=False, stdin=subprocess.DEVNULL, capture_output=True)
            written, errors = (each.decode(errors="replace") for each in (done.stdout, done.stderr))
            assert done.returncode not in (1, 2, 7, 125, 126, 127), (line, errors)
            assert not re.search("gpureport: --|Run with --help|[Uu]sage", errors), (line, errors)
            compare(shown, written)
            everything += written + errors
    return everything


@functools.lru_cache
def sources():
    files = [name for folder in FOLDERS
             for name in glob.glob(f"{folder}/**", root_dir=ROOT, recursive=True)]
    return "".join(read(name) for name in files + ["CMakeLists.txt", "run"]
                   if re.search(r"\.h$|\.cpp$|\.cmake$|CMakeLists|^run$", name))


def usage_of(script):
    """What a script says of itself in front of its first statement."""
    return re.split("^(?:set -|import )", read(script), flags=re.M)[0]


def says(text, word):
    return re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text)


def hosts_build_and_run():
    text = DOCUMENTS["README.md"].replace("/opt/editor", BUILD + "/bin")
    code, consumer = (next(block for block in re.findall("(?:^ {4}.*\n|^\n(?= {4}))+", text, re.M)
                           if word in block) for word in ("gpuprobe_inspect", "find_package"))
    in_c, in_cpp, in_python = re.split(r"^ {4}(?:/\*|//|#) .*\n", code, flags=re.M)[1:]
    in_cmake, compile_c = consumer.strip().rsplit("\n\n", 1)
    files = {
        "installer.c": "#include <stdio.h>\n#include <host/gpuprobe_host.h>\nint main(void) {\n" +
                       in_c.replace("    gpuprobe_free", "puts(report);\ngpuprobe_free") + "}\n",
        "installer.cpp": "#include <iostream>\n#include <host/Inspect.h>\n#include <host/Json.h>\n"
                         "int main() {\n" + in_cpp + "std::cout << host::ToJson(machine); }\n",
        "installer.py": "import ctypes, json\nlibrary = ctypes.CDLL('libgpuprobe-host.so.1')\n"
                        "library.gpuprobe_inspect.restype = ctypes.c_void_p\n" +
                        re.sub("^    ", "", in_python, flags=re.M) + "print(json.dumps(report))\n",
        "CMakeLists.txt": "cmake_minimum_required(VERSION 3.18)\nproject(installer CXX)\n"
                          "add_executable(installer installer.cpp)\n" + in_cmake}
    with tempfile.TemporaryDirectory() as folder:
        os.symlink(ROOT + "/build", folder + "/build")
        for name, content in files.items():
            pathlib.Path(folder, name).write_text(content, encoding="utf-8")
        said("bash", "-c", f"cd {folder} && " + re.search("`(cmake --install .*?)`", text)[1])
        (library,) = map(os.path.dirname, glob.glob(
            folder + "/DIR/lib/**/libgpuprobe-host.so.1", recursive=True))
        environment = {**ENVIRONMENT, "OCL_ICD_VENDORS": "/none", "LD_LIBRARY_PATH": library,
                       "PKG_CONFIG_PATH": library + "/pkgconfig"}
        for line in (compile_c + " && ./a.out", "python3 installer.py", "cmake -S . -B made "
                     "-DCMAKE_PREFIX_PATH=$PWD/DIR && cmake --build made && made/installer"):
            written = said("bash", "-c", f"cd {folder} && {line}", env=environment)
            assert re.search('"status": ?"complete"', written), written


def what_asks_this_machine_runs():
    with concurrent.futures.ThreadPoolExecutor() as pool:
        WRITTEN.extend(pool.map(run_document, DOCUMENTS))


def scripts_know_what_they_are_given():
    presets = read("CMakePresets.json")
    for line in {line for name in DOCUMENTS for line, _ in commands(name) if SCRIPT.match(line)}:
        script, *words = re.sub("[#,].*", "", line).split()
        assert os.access(f"{ROOT}/{script}", os.X_OK), line
        for word in re.findall(r"-*[a-z][\w-]*", " ".join(words)):
            assert says(usage_of(script) + presets, word), (line, word)


def options_are_known_and_told():
    helps = {"docs/gpureport.md": said(GPUREPORT, "--help") + said(GPUREPORT, "guard", "--help"),
             "README.md": read("tests/usage.golden")}
    known = "".join(helps.values()) + usage_of("run") + usage_of("scripts/campaign")
    for name in DOCUMENTS:
        options = "\n".join(span for span in spans(name) if span[0] == "-")
        for word in re.findall(r"(?<!\S)-[-a-zA-Z]+|[a-z]+(?=\|)|(?<=\|)[a-z]+", options):
            assert says(known, word), (name, word)
    for name, text in helps.items():
        for option in re.findall(r"^ +(?:-\w,)?(-[\w-]+)", text, re.M):
            assert any(says(span, option) for span in spans(name)), f"{name} lacks {option}"


def files_and_variables_exist():
    version = re.search(r"project\(gpuprobe VERSION (\S+)", read("CMakeLists.txt"))[1]
    for name, text in DOCUMENTS.items():
        for link in re.findall(r"\]\(([^)#]+)", text):
            assert os.path.exists(os.path.join(ROOT, os.path.dirname(name), link)), (name, link)
        for path in filter(re.compile(r"[a-z]+/(?!.*\.dll)[\w./-]*$").match, spans(name)):
            there = any(glob.glob(f"{root}/{path}*") for root in (ROOT, BUILD))
            assert there or path.split("/")[0] not in FOLDERS, (name, path)
        for variable in re.findall("GPUPROBE_[A-Z_]+", text):
            assert says(sources(), variable), (name, variable)
        for found in re.findall(r"gpuprobe(?:-host\w*|-host-dev)?[-_:](\d+\.\d+\.\d+)", text):
            assert found == version, (name, found)


def keys_and_members_exist():
    questions = re.findall(r'\bX\((\w+), ([A-Z\d]\w*)(?:, "(.*?)")?\)',
                           read("protocol/Questions.h"))
    place = 0
    for key, kind, unit in questions[:questions.index(("NativeName", "Text", ""))]:
        row = f"`{key}`" + (f" | {kind.lower()}{unit and ', ' + unit} |" if kind.isalpha() else "")
        place = GUIDE.find(row, place)
        assert place > 0, f"{row} is not in the guide, or not in the order of the report"
    keys = {key for key, _, _ in questions}
    for name in set(DOCUMENTS) - {"docs/design.md"}:
        bare = re.findall("^(?:GL|CL|Num|CUDA)[A-Z][A-Za-z]+$", "\n".join(spans(name)), re.M)
        for key in bare + re.findall(r"\b[cg]lgpu\[\w\]\.(\w+)\b(?!\[)", DOCUMENTS[name]):
            assert key in keys, (name, key)
    forms = "".join(form(kind, state) for state in STATES for kind in ("prometheus", "labels"))
    fleet = DOCUMENTS["docs/fleet.md"]
    labels = fleet.split("| metric |")[1].split("Labels are cut")[0]
    for word in re.findall(r"\bgpuprobe_\w+", fleet) + re.findall("`([a-z_]+)`", labels):
        assert says(forms, word), word
    schema = read("host/gpuprobe-report.schema.json")
    members = DOCUMENTS["docs/gpureport.md"].split("| member |")[1].split("##")[0]
    for member in re.findall(r"(\w+)(?=[\w.]*(?:\[\])?`)", members):
        assert f'"{member}"' in schema, member


def what_is_quoted_is_written():
    table = DOCUMENTS["docs/rehearsal.md"].split("| action |")[1].split("\n\n")[0]
    told = {word for cell in re.findall(r"^\| (`.*?) \|", table, re.M)
            for word in re.findall(r"`(\w+)", cell)}
    assert told == set(re.findall(r'X\(\w+, "(\w+)"', read("rehearsal/Faults.h"))), told
    for span in spans("docs/gpureport.md"):
        if span.startswith('{"'):
            shown = json.loads(span.replace("{…}", "{}"))
            assert any(same_members(shown, json.loads(line))
                       for line in form("jsonl", "crashed").splitlines()), span
    written = "".join(WRITTEN)
    for block in blocks("docs/report.md"):
        for line in block.splitlines() if "$ " not in block else []:
            compare(line, written)
    for span in spans("docs/report.md"):
        if span.startswith("# "):
            compare(re.sub("[A-Z]+$", "", span), written)
        elif re.match(r"(?!\w+=)[A-Za-z].* \w", span):
            for piece in re.split(r": | ?\"NAME\" ?|\S*[/\d]\S*|\.\.\.", span):
                assert piece.strip() in sources(), (span, piece)


run(hosts_build_and_run, what_asks_this_machine_runs, scripts_know_what_they_are_given,
    options_are_known_and_told, files_and_variables_exist, keys_and_members_exist,
    what_is_quoted_is_written)
