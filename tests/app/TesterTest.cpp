#include <gtest/gtest.h>

#include "log/Clock.h"
#include "log/LogChannel.h"
#include "tests/app/TestApp.h"

namespace {

void expectRun(const std::vector<std::string>& report, unsigned throwAfter, unsigned crashAfter) {
  const auto option = [](const char* name, unsigned n) {
    return name + (n == RehearsedRun::kNever ? "-1" : std::to_string(n));
  };
  SCOPED_TRACE(option("-throwAfter=", throwAfter) + option(" -crashAfter=", crashAfter));
  const RehearsedRun expected(report, throwAfter, crashAfter);
  TestApp app;
  EXPECT_EQ(app.RunWith({option("-throwAfter=", throwAfter), option("-crashAfter=", crashAfter)}),
            expected.err.empty() ? 0 : 2);
  EXPECT_EQ(app.out, joined(expected.out));
  EXPECT_EQ(app.err, joined(expected.err));
}

TEST(TesterTest, ProgrammedFailuresAtEveryStep) {
  playGoldenMachine();
  std::vector<std::string> report = goldenLines("report");
  const auto sweep = [&] {
    expectRun(report, RehearsedRun::kNever, RehearsedRun::kNever);
    for (unsigned n = 0; n < report.size() + 2; ++n) {
      expectRun(report, n, RehearsedRun::kNever);
      expectRun(report, n, n);
      expectRun(report, n, n + 3);
    }
  };
  const auto drop = [&](const char* part) {
    report.erase(std::remove_if(report.begin(), report.end(),
                                [=](const std::string& line) { return contains(line, part); }),
                 report.end());
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
  for (const int seconds : {1, -1}) {
    channelLevel(delay) = seconds;
    const double start = nowSeconds();
    tester->DoRunCLBandwidth("T", static_cast<CLGPU&>(*cl));
    EXPECT_EQ(nowSeconds() - start >= 1.0, seconds == 1);
  }
  channelLevel(delay) = 0;
}

}  // namespace
