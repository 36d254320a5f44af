#include <gmock/gmock.h>

#include <csignal>
#include <regex>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

Outcome runWith(const std::string& played, const Lines& arguments,
                const std::string& environment = "") {
  return RunProbe(
      {arguments,
       environment + "LD_LIBRARY_PATH=${GPUPROBE_LAYERS:?}/egl GPUPROBE_PLAY='" + played + "'"});
}

TEST(LinuxDrivers, ReportGoesToItsEnd) {
  const struct {
    const char* played;
    const char* renderers;  // of the GPUs, a blank after each
    const char* said;       // among the diagnostics
  } drivers[] = {
      {"lists", "", "no OpenGL device"},
      {"renderer=Only", "Only ", "zorDevice.0.=default"},
      {"device=/dev/dri/card0;fault=eglInitialize:*:error", "",
       "no context on .*card0: eglInitialize: EGL_NOT_INITIALIZED"},
      {"device=/dev/dri/card7;fault=eglCreateContext:*:error;device=/dev/dri/"
       "renderD129;render;renderer=B;"
       "device=software;renderer=S",
       "B ", "no context on zorDevice.0.=/dev/dri/card7: eglCreateContext: "},
      {"device=/dev/dri/card7;renderer=llvmpipe;device=software;renderer=S", "llvmpipe ",
       "card7: its context draws in software"},
      // One that goes away moves the others up in the list.
      {"device=/dev/dri/card7;gone;fault=eglGetPlatformDisplayEXT:*:error;device=/dev/dri/"
       "card8;renderer=B;"
       "device=;renderer=C;device=software;renderer=S",
       "B C ", "no context on zorDevice.0.=/dev/dri/card7"},
  };
  for (const auto& [played, renderers, said] : drivers) {
    SCOPED_TRACE(played);
    const Outcome run = runWith(played, {"-verbose=1"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.report.back(), "snifferEnd=...");
    EXPECT_EQ(run.err, Lines());
    EXPECT_THAT(run.comments, Contains(ContainsRegex(said)));
    EXPECT_THAT(run.report, Contains(*renderers ? "OGLContextCreated=1" : "OGLContextCreated=0"));
    std::string found;
    for (const std::string& line : run.report)
      if (line.find("GLRenderer=") != line.npos) found += line.substr(line.find('=') + 1) + ' ';
    EXPECT_EQ(std::regex_replace(found, std::regex("\""), ""), renderers);
    EXPECT_EQ(runWith(played, {}).report, run.report);
  }
}

TEST(LinuxDrivers, NoLibrary) {
  const Outcome run =
      RunProbe({{"-verbose=1"}, R"(echo none >"$0/libEGL.so.1"; LD_LIBRARY_PATH="$0")"});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.report,
              ElementsAre(R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1",
                          "ZOROGLInitialized=0", "OGLContextCreated=0", "NumGLGPUs=0",
                          "NumCLGPUs=0", "NumNativeGPUs=0", "snifferEnd=..."));
  EXPECT_THAT(run.comments, Contains(ContainsRegex("default ContextOffscreen.*libEGL.so.1: ")));
  EXPECT_THAT(run.err, ElementsAre(ContainsRegex("DoGetGPUs fails .*libEGL.so.1: ")));
}

TEST(LinuxDrivers, HelpAndSkippedAPIsLoadNone) {
  const auto loaded = [](const Lines& arguments, const std::string& environment) {
    std::string lines;
    for (const std::string& line : RunProbe({arguments, "LD_DEBUG=libs " + environment}).err)
      lines += line;
    return lines;
  };
  for (const std::string& lines :
       {loaded({"-help"}, ""), loaded({}, "GPUPROBE_SKIP=OpenCL,OpenGL")})
    for (const char* library : {"libEGL", "libGL", "libOpenCL", "_dri.so"})
      EXPECT_THAT(lines, Not(HasSubstr(library)));
  EXPECT_THAT(loaded({}, ""), AllOf(HasSubstr("libEGL.so.1"), HasSubstr("libOpenCL.so.1")));
}

TEST(LinuxDrivers, SkippedDevicesGetNoContext) {
  const Outcome run = runWith(
      "device=/dev/dri/card7;fault=eglInitialize:1:crash;"
      "device=/dev/dri/renderD129;render;renderer=B",
      {}, "GPUPROBE_ANNOUNCE=1 GPUPROBE_SKIP='NumGLGPUs /dev/dri/card7,OpenCL' ");
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.report, Contains(R"(glgpu[0].GLRenderer="B")"));
  EXPECT_THAT(run.comments,
              IsSupersetOf({"# asking OGLContextCreated /dev/dri/renderD129",
                            "# skipped NumGLGPUs /dev/dri/card7",
                            "# asking NumGLGPUs /dev/dri/renderD129", "# skipped OpenCL"}));
}

// The last line names the driver, and the exit status stays what it is.
TEST(LinuxDrivers, CrashesAreNamed) {
  for (const auto& [fault, name, number] : {std::tuple("eglLoad:1:crash", "SIGSEGV", SIGSEGV),
                                            {"eglBindAPI:1:abort", "SIGABRT", SIGABRT},
                                            {"eglBindAPI:1:stack", "SIGSEGV", SIGSEGV}}) {
    const Outcome run = runWith("", {}, std::string("GPUPROBE_FAULT=") + fault + " ");
    EXPECT_EQ(run.signal, number) << fault;
    EXPECT_EQ(run.text.back(), '\n');
    EXPECT_THAT(run.err,
                ElementsAre("", MatchesRegex(std::string("crash: ") + name +
                                             " in /.*/rehearsal/egl/libEGL.so.1.0x[0-9a-f]+")));
  }
}

void expectTimeout(const Outcome& run, const Lines& out) {
  EXPECT_EQ(run.signal, SIGALRM);
  EXPECT_EQ(run.out, out);
  EXPECT_EQ(run.text.back(), '\n');
  EXPECT_EQ(run.err, Lines());
  EXPECT_GE(run.seconds, 4.9);
}

TEST(LinuxWaits, TimeoutEndsTheProbeAndKeepsItsLines) {
  // Time for the whole report on a busy machine. A host may have handed down its own settings of
  // the signal.
  expectTimeout(RunProbe({{"-timeout=5", "-hang=60000"},
                          "",
                          Start().streams,
                          "env --ignore-signal=ALRM --block-signal=ALRM " + Start().program}),
                PlainReport());
  // The last one counts, and none or fewer seconds are no limit.
  const Outcome hung = RunProbe({{"-timeout=1", "-timeout=-1", "-hang=1200", "-exit=-1"}});
  EXPECT_EQ(hung.code, 255) << "the system keeps the low byte";
  EXPECT_GE(hung.seconds, 1.2);
  Lines lines = {R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1"};
  for (const char* fault : {"eglLoad:1:hang", "eglInitialize:1:hang"}) {
    expectTimeout(
        runWith("device=", {"-timeout=5", "-hang=1"}, std::string("GPUPROBE_FAULT=") + fault + " "),
        lines);
    lines.push_back("ZOROGLInitialized=1");
  }
}

}  // namespace
