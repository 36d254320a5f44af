"""What the campaign runs on each system, and with which drivers."""

import os
import pathlib
import shutil
import signal
import subprocess
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent

TWO_CPUS = {"OCL_ICD_VENDORS": "/etc/OpenCL/vendors/pocl.icd", "POCL_DEVICES": "pthread pthread",
            "POCL_MEMORY_LIMIT": "1", "GPUPROBE_SHORT": "1"}


class Linux:
    """The probe and its drivers. A front is one API with its real drivers behind the kit, the other
    API absent."""
    kit = ROOT / "build" / "linux" / "rehearsal"
    # Under the sanitizers what drivers leave behind is theirs. GCC 12's look for leaks takes some
    # addresses before a library's thread-local memory for it, and crashes.
    common = {"GPUPROBE_ANNOUNCE": "1", "MESA_SHADER_CACHE_DISABLE": "true",
              "ASAN_OPTIONS": "intercept_tls_get_addr=0", "LSAN_OPTIONS":
              f"suppressions={ROOT}/tests/drivers.lsan:print_suppressions=0"}
    opengl = {"LD_LIBRARY_PATH": str(kit / "egl")}
    opencl = {"OPENCL_LAYERS": f"{kit}/cpu_as_gpu.so:{kit}/fault.so", **TWO_CPUS}
    fronts = {"opengl": {**opengl, "OCL_ICD_VENDORS": "/none"},
              "opencl": {**opencl, "__EGL_VENDOR_LIBRARY_FILENAMES": "/none"}}
    # What is called only after other calls went wrong, or by old drivers.
    old = {"MESA_EXTENSION_OVERRIDE": "-GL_ARB_framebuffer_object", "MESA_GL_VERSION_OVERRIDE": "2.1"}
    detours = {
        "detour1": {**fronts["opengl"], **old, "GPUPROBE_FAULT": "eglCreatePbufferSurface:1:error;"
                    "glGetProgramiv:1:empty;glGetProgramiv:2:garbage=5"},
        "detour2": {**fronts["opengl"], "GPUPROBE_FAULT":
                    "glGetShaderiv:1:empty;glGetShaderiv:2:garbage=5"},
        "detour3": {**fronts["opengl"], "GPUPROBE_FAULT": "eglQueryString:1:null"}}
    # Both APIs, since it is said of each what the other's fault leaves.
    both = {"both": {**opengl, **opencl}}
    # What the process ends with where the driver takes it down.
    fatal = {"crash": {-signal.SIGSEGV}, "abort": {-signal.SIGABRT}, "stack": {-signal.SIGSEGV},
             "thread": {-signal.SIGSEGV}}
    # The library that is at fault, of OpenGL and of OpenCL: the front that the call went through.
    culprits = dict.fromkeys(("crash", "abort", "stack", "hang", "spin"),
                             ("/rehearsal/egl/libegl.so.1", "/rehearsal/fault.so"))
    # What the system's loader catches while a library is loaded: the library then is not there.
    caught_at_load = set()

    def __init__(self, build):
        bin_ = ROOT / "build" / build / "bin"
        self.tool = bin_ / "gpureport"
        self.probe = [str(bin_ / "gpuprobe")]
        self.report = [str(self.tool), "--format", "json", "--quiet"]
        self.programs = [bin_ / "gpuprobe", self.kit / "fault.so", self.kit / "cpu_as_gpu.so",
                         self.kit / "egl" / "libEGL.so.1"]

    startup = 0.0

    def start(self):
        pass

    def stop(self):
        pass

    def path(self, path):
        """As the probe has to write it."""
        return str(path)

    def files_in(self, folder):
        """Variables that lead all files of a run into a folder."""
        return {"TMPDIR": str(folder)}


class Windows(Linux):
    """OpenCL under Wine: the front of Windows in a prefix of its own, on Wine's own library, which
    uses the machine's drivers."""
    kit = ROOT / "build" / "windows" / "rehearsal"
    wine = "/usr/lib/wine/wine64"
    probe = [wine, str(ROOT / "build" / "windows" / "bin" / "gpuprobe.exe")]
    tool = ROOT / "build" / "windows" / "bin" / "gpureport.exe"
    report = [wine, str(tool), "--format", "json", "--quiet"]
    programs = [pathlib.Path(probe[1]), kit / "OpenCL.dll", Linux.kit / "cpu_as_gpu.so"]
    prefix = ROOT / "build" / "campaign" / "wineprefix"
    libraries = ROOT / "build" / "campaign" / "winedlls"
    common = {"GPUPROBE_ANNOUNCE": "1", "WINEPREFIX": str(prefix), "WINEDEBUG": "-all",
              "WINEDLLPATH": str(libraries), "WINEDLLOVERRIDES":
              "mscoree,mshtml=;winedbg.exe=d;opencl=n"}
    fronts = {"opencl": {"OPENCL_LAYERS": str(Linux.kit / "cpu_as_gpu.so"), **TWO_CPUS}}
    both, detours = fronts, {}
    # The low byte of the exception's number, or of the C library's code.
    fatal = {"crash": {0x05}, "abort": {0x03, 0x09}, "stack": {0xFD}, "thread": {0x05}}
    # A thread that is inside the runtime is known by its stack, where what earlier calls left may
    # come first: the system's library behind the front.
    culprits = {**dict.fromkeys(("crash", "abort", "stack", "spin"), (None, "\\opencl.dll")),
                "hang": (None, ("\\opencl.dll", "\\opencl_real.dll"))}
    caught_at_load = {"crash", "stack"}
    keeper = None

    def __init__(self):
        pass

    def start(self):
        os.environ.pop("DISPLAY", None)
        if not self.prefix.exists():
            subprocess.run([ROOT / "scripts" / "wine-session", "--no-display", "true"], check=True)
            subprocess.run(["cp", "-a", "--reflink=auto", ROOT / "build" / "wineprefix", self.prefix],
                           check=True)
        system = self.prefix / "drive_c" / "windows" / "system32"
        own = next(pathlib.Path("/usr/lib").glob("*/wine/x86_64-windows/opencl.dll")).parent.parent
        for source, target in [
                (self.kit / "OpenCL.dll", system / "opencl.dll"),
                (own / "x86_64-windows" / "opencl.dll", system / "opencl_real.dll"),
                (own / "x86_64-windows" / "opencl.dll",
                 self.libraries / "x86_64-windows" / "opencl_real.dll"),
                (own / "x86_64-unix" / "opencl.so",
                 self.libraries / "x86_64-unix" / "opencl_real.so")]:
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
        # One program that stays keeps Wine's services out of the runs' own processes.
        self.keeper = subprocess.Popen(
            [self.wine, "cmd.exe"], env={**os.environ, **self.common}, stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        time.sleep(5)
        begin = time.monotonic()
        subprocess.run([*self.report[:2], "--version"], env={**os.environ, **self.common},
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
        self.startup = time.monotonic() - begin

    def stop(self):
        subprocess.run(["/usr/lib/wine/wineserver64", "-k"], env={**os.environ, **self.common},
                       check=False)
        self.keeper.wait()

    def path(self, path):
        return "Z:" + str(path).replace("/", "\\")

    def files_in(self, folder):
        return {}  # Wine keeps its server's socket where TMPDIR says
