#include <gmock/gmock.h>

#include <sstream>

#include "log/Clock.h"
#include "log/Diagnostic.h"
#include "tests/app/TestApp.h"

namespace {

using testing::HasSubstr;

void expectRun(const std::vector<std::string>& report, unsigned throwAfter, unsigned crashAfter) {
  const auto option = [](const char* name, unsigned n) {
    return name + (n == RehearsedRun::kNever ? "-1" : std::to_string(n));
  };
  const RehearsedRun expected(report, throwAfter, crashAfter);
  const ArgumentList options = {option("-throwAfter=", throwAfter),
                                option("-crashAfter=", crashAfter)};
  TestApp app;
  EXPECT_EQ(app.RunWith(options), expected.err.empty() ? 0 : 2) << testing::PrintToString(options);
  EXPECT_EQ(app.out, joined(expected.out)) << testing::PrintToString(options);
  EXPECT_EQ(app.err, joined(expected.err)) << testing::PrintToString(options);
}

TEST(TesterTest, ProgrammedFailuresAtEveryStep) {
  playGoldenMachine();
  std::vector<std::string> report = goldenLines("report");
  const auto sweep = [&] {
    constexpr unsigned kNever = RehearsedRun::kNever;
    expectRun(report, kNever, kNever);
    for (unsigned n = 0; n < report.size() + 2; ++n) {
      expectRun(report, n, kNever);
      expectRun(report, n, n);
      expectRun(report, n, n + 3);
    }
  };
  const auto drop = [&](const char* part) {
    const auto has = [part](const std::string& line) { return contains(line, part); };
    report.erase(std::remove_if(report.begin(), report.end(), has), report.end());
  };
  sweep();
  TestApp::hasOCL = false;
  drop("clgpu[");
  drop("NumCLGPUs");
  sweep();
  fakeMachine.gl = fakeMachine.native = 0;
  drop("gpu[");
  drop("gputag.");
  for (std::string& line : report)
    if (contains(line, "Num")) line.back() = '0';
  sweep();
  TestApp::hasOCL = true;
}

// Diagnostics go to the real standard output, beside the report.
TEST(TesterTest, DiagnosticsOnlyWhenAskedFor) {
  fakeMachine = {};
  fakeMachine.cl = 1;
  fakeMachine.onQuestion = [](const std::string&, const std::string& operation) {
    if (operation == "DoGetCLBandwidth") throw std::runtime_error("busy");
  };
  const char* const texts[] = {
      "] ZOR::OGL::Library::initialize() failed: ZOR::LogicalException: no window system",
      "] Cannot create default ContextOffscreen: ZOR::LogicalException: no context",
      "] BEGIN GPUSnifferTester::DoRunCLBandwidth",
      "] END GPUSnifferTester::DoRunCLBandwidth, duration=", "] Testing terminated for clgpu[0]"};
  for (const int level : {1, -1, 0}) {
    TestApp app;
    app.gl.initializeError = "no window system";
    app.gl.failingDevices[app.gl.devices[0].deviceName] = "no context";
    testing::internal::CaptureStdout();
    EXPECT_EQ(app.RunWith({"-verbose=" + std::to_string(level)}), 2);
    std::istringstream lines(testing::internal::GetCapturedStdout());
    EXPECT_THAT(app.out, HasSubstr("\nZOROGLInitialized=0\nOGLContextCreated=0\nNumGLGPUs=0\n"));
    EXPECT_EQ(app.err, "exception: busy\n");
    std::string line;
    for (size_t i = 0; level != 0 && i < std::size(texts); ++i) {
      std::getline(lines, line);
      EXPECT_EQ(line.find("# "), 0u);
      EXPECT_THAT(line, HasSubstr(texts[i]));
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
  }
  // Nor does a diagnostic for which there is no memory change the report.
  if (!MemoryRunsOut()) return;
  TestApp app;
  app.gl.initializeError = std::string(1'000'000, 'x');
  largestAllocation = 1'500'000;
  testing::internal::CaptureStdout();
  app.RunWith({"-verbose=1"});
  largestAllocation = SIZE_MAX;
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::Not(HasSubstr("xxx")));
  EXPECT_THAT(app.out, HasSubstr("\nZOROGLInitialized=0\nOGLContextCreated=1\n"));
}

TEST(TesterTest, SingleQuestions) {
  fakeMachine = {};
  fakeMachine.texts["DoGLGetString"] = "";
  TestApp app;
  const auto tester = app.GetTester();
  GLGPU glgpu(MakeGPUImpl());
  tester->DoRunGLGetString("T", glgpu, "GL_X", 3);
  tester->DoRunGLGetIntegerv("T", glgpu, "GL_X", 3, 2);
  EXPECT_EQ(
      app.out,
      "gputag.GL_X=3\nT.glGetString[GL_X]=\"\"\ngputag.GL_X=3\nT.glGetIntegerv[GL_X]=[3, 0]\n");

  const boost::shared_ptr<GPU> cl = boost::make_shared<CLGPU>(MakeGPUImpl());
  EXPECT_DEATH_IF_SUPPORTED(tester->RunTests({{"glgpu[0]", nullptr}}, GLStringTest()), "px != 0");
  EXPECT_DEATH_IF_SUPPORTED(tester->RunTests({{"glgpu[0]", cl}}, ProgramvTest()), "px != 0");

  LogChannel delay{"GPUSnifferOCLDelay", 0};
  double start = 0, asked = 0;
  fakeMachine.onQuestion = [&](const std::string&, const std::string&) { asked = nowSeconds(); };
  for (const int seconds : {1, 0, -1}) {
    channelLevel(delay) = seconds;
    start = nowSeconds();
    tester->DoRunCLBandwidth("T", static_cast<CLGPU&>(*cl));
    EXPECT_EQ(asked - start >= 1.0, seconds == 1);
  }
  channelLevel(delay) = 0;
}

}  // namespace
