#include <gmock/gmock.h>

#include <csignal>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

Outcome runWith(const std::string& played, const Lines& arguments,
                const std::string& environment = "") {
  return RunProbe(
      {arguments,
       environment + "LD_LIBRARY_PATH=${GPUPROBE_LAYERS:?}/egl GPUPROBE_PLAY='" + played + "'"});
}

struct Driver {
  const char* name;
  const char* played;
  Lines report;      // from ZOROGLInitialized on, with one answer of each GPU
  const char* said;  // among the diagnostics
};

class Drivers : public TestWithParam<Driver> {};

TEST_P(Drivers, ReportGoesToItsEnd) {
  for (const std::string verbose : {"-verbose=0", "-verbose=1"}) {
    const Outcome run = runWith(GetParam().played, {verbose});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.report.back(), "snifferEnd=...");
    EXPECT_EQ(run.err, Lines());
    Lines report;
    for (const std::string& line : run.report)
      if (std::string(line, 0, 3) == "OGL" || std::string(line, 0, 5) == "NumGL" ||
          line.find("GLRenderer=") != std::string::npos)
        report.push_back(line);
    EXPECT_EQ(report, GetParam().report);
    if (run.comments.empty() && verbose.back() == '0') continue;
    EXPECT_THAT(run.comments, Contains(ContainsRegex(GetParam().said)));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Linux, Drivers,
    Values(Driver{"NoDevice", "lists", {"OGLContextCreated=0", "NumGLGPUs=0"}, "no OpenGL device"},
           Driver{"NoList",
                  "renderer=Only",
                  {"OGLContextCreated=1", "NumGLGPUs=1", R"(glgpu[0].GLRenderer="Only")"},
                  "zorDevice.0.=default"},
           Driver{"Fails",
                  "device=/dev/dri/card0;fault=eglInitialize:*:error",
                  {"OGLContextCreated=0", "NumGLGPUs=0"},
                  "no context on .*card0: eglInitialize: EGL_NOT_INITIALIZED"},
           Driver{"FirstFails",
                  "device=/dev/dri/card7;fault=eglCreateContext:*:error;"
                  "device=/dev/dri/renderD129;render;renderer=B;device=software;renderer=S",
                  {"OGLContextCreated=1", "NumGLGPUs=1", R"(glgpu[0].GLRenderer="B")"},
                  "no context on zorDevice.0.=/dev/dri/card7: eglCreateContext: "},
           Driver{"SoftwareAlone",
                  "device=/dev/dri/card7;renderer=llvmpipe;device=software;renderer=S",
                  {"OGLContextCreated=1", "NumGLGPUs=1", R"(glgpu[0].GLRenderer="llvmpipe")"},
                  "card7: its context draws in software"},
           // One that goes away moves the others up in the list.
           Driver{"OneGoes",
                  "device=/dev/dri/card7;gone;fault=eglGetPlatformDisplayEXT:*:error;"
                  "device=/dev/dri/card8;renderer=B;device=;renderer=C;device=software;renderer=S",
                  {"OGLContextCreated=1", "NumGLGPUs=2", R"(glgpu[0].GLRenderer="B")",
                   R"(glgpu[1].GLRenderer="C")"},
                  "no context on zorDevice.0.=/dev/dri/card7"}),
    nameOf);

TEST(LinuxDrivers, NoLibrary) {
  const Outcome run =
      RunProbe({{"-verbose=1"}, R"(echo none >"$0/libEGL.so.1"; LD_LIBRARY_PATH="$0")"});
  const Lines report = {
      R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1", "ZOROGLInitialized=0",
      "OGLContextCreated=0",     "NumGLGPUs=0",      "NumCLGPUs=0",          "NumNativeGPUs=0",
      "snifferEnd=..."};
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.report, report);
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
  Lines comments;
  for (const std::string& line : run.comments)
    if (line.find("glgpu[") == line.npos) comments.push_back(line);
  EXPECT_EQ(comments,
            Lines({"# asking ZOROGLInitialized", "# asking OGLContextCreated",
                   "# asking OGLContextCreated /dev/dri/renderD129", "# asking NumGLGPUs",
                   "# skipped NumGLGPUs /dev/dri/card7", "# asking NumGLGPUs /dev/dri/renderD129",
                   "# skipped OpenCL", "# asking release"}));
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

TEST(LinuxWaits, HangDelaysTheExit) {
  using Case = std::pair<const char*, int>;
  for (const auto& [argument, code] : {Case{"-exit=5", 5}, {"-throwAfter=0", 2}, {"-help", 3}}) {
    const Outcome run = RunProbe({{"-hang=300", argument}});
    EXPECT_EQ(run.code, code);
    EXPECT_GE(run.seconds, 0.3);
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
  EXPECT_EQ(RunProbe({{"-timeout=1", "-timeout=-1", "-hang=1200"}}).code, 0);
  Lines lines = {R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1"};
  for (const char* fault : {"eglLoad:1:hang", "eglInitialize:1:hang"}) {
    expectTimeout(
        runWith("device=", {"-timeout=5", "-hang=1"}, std::string("GPUPROBE_FAULT=") + fault + " "),
        lines);
    lines.push_back("ZOROGLInitialized=1");
  }
}

}  // namespace
