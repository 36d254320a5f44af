#include <gmock/gmock.h>

#include <cstdlib>
#include <locale>
#include <regex>
#include <set>

#include "log/Clock.h"
#include "log/LogChannel.h"
#include "tests/app/TestApp.h"
#include "tests/gpu/Hardware.h"

namespace {

using Lines = std::vector<std::string>;
using testing::ElementsAre;

void expectRun(const Lines& report, unsigned throwAfter, unsigned crashAfter) {
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
  Lines report = goldenLines("report");
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

TEST(TesterTest, NumbersAndTimesInADriversLocale) {
  struct Commas : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\1"; }
  };
  const std::locale before = std::locale::global({std::locale(), new Commas});
  playGoldenMachine();
  expectRun(goldenLines("report"), RehearsedRun::kNever, RehearsedRun::kNever);
  TestApp app;
  EXPECT_EQ(app.CreateTester()->GPUSnifferTester::GetTimeString().size(), 19U);
  EXPECT_EQ(formatTimeStamp({2026, 1, 4, 7, 5, 3.125}), "2026-01-04 07:05:03.125");
  std::locale::global(before);
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

void setSwitches(const std::string& skip, const std::string& announce) {
#ifdef _WIN32
  const auto set = [](const char* name, const char* value) { _putenv_s(name, value); };
#else
  const auto set = [](const char* name, const char* value) { setenv(name, value, 1); };
#endif
  set("GPUPROBE_SKIP", skip.c_str());
  set("GPUPROBE_ANNOUNCE", announce.c_str());
}

/// The golden report as it is without these questions and APIs, and with what is announced.
Lines steeredReport(const std::set<std::string>& skipped, bool announced) {
  Lines lines, named;
  for (const std::string& line : goldenLines("report")) {
    named.push_back(line);
    if (contains(line, "gputag.")) continue;
    const std::string key = line.substr(0, line.find('='));
    const size_t tag = contains(key, "gpu[") ? key.find("].") + 1 : 0;
    const bool ofCL = contains(key, "clgpu[") || key == "NumCLGPUs";
    const bool ofGL = contains(key, "glgpu[") || contains(key, "OGL") || key == "NumGLGPUs";
    if (skipped.count(ofCL ? "OpenCL" : ofGL ? "OpenGL" : "")) {
      named.clear();
      if (key == "ZOROGLInitialized") named = {"# skipped OpenGL"};
      if (key == "NumCLGPUs") named = {"# skipped OpenCL"};
    } else if (tag && skipped.count(key) + skipped.count(key.substr(0, tag)) +
                          skipped.count(key.substr(tag + 1))) {
      named = {"# skipped " + key};
    } else if (announced && (tag || ofCL || ofGL)) {
      named.insert(named.begin(), "# asking " + key);
    }
    lines.insert(lines.end(), named.begin(), named.end());
    named.clear();
  }
  if (announced) lines.emplace_back("# asking release");
  return lines;
}

// A question takes its step and an API the steps of its stages, of which OpenGL has three.
TEST(HostSwitches, WhatIsSkippedTakesItsSteps) {
  playGoldenMachine();
  for (const std::set<std::string>& names :
       {std::set<std::string>{},
        {"clgpu[1]"},
        {"clgpu[1].CLBandwidth", "glgpu[0].extension[ZOR::OGL::GL_ARB_TEXTURE_FLOAT]"},
        {"CLCompute", "NativeName", "glGetString[GL_SHADING_LANGUAGE_VERSION]"},
        {"glgpu[0]", "GLName", "glgpu[7]"},
        {"OpenCL"},
        {"OpenCL", "OpenGL"}}) {
    std::string list;
    for (const std::string& name : names) list += name + ",";
    const unsigned steps =
        RehearsedRun(steeredReport(names, false)).steps + (names.count("OpenGL") ? 2 : 0);
    for (const bool announced : {false, true}) {
      setSwitches(list, announced ? "1" : "0");
      for (const bool fails : {false, true}) {
        TestApp app;
        EXPECT_EQ(app.RunWith({"-throwAfter=" + std::to_string(steps - fails)}), fails ? 2 : 0);
        EXPECT_EQ(app.err, fails ? "exception: Programmed throw\n" : "");
        EXPECT_EQ(app.out, joined(steeredReport(names, announced)));
      }
    }
  }
  setSwitches("", "");
}

TEST(HostSwitches, UnknownNamesAreToldAndSkipNothing) {
  playGoldenMachine();
  setSwitches(
      "NumGLGPUs /dev/dri/renderD128,NumCLGPUs A%2C B,OGLContextCreated software,glgpu[12],,"
      "nativegpu[7].NativeName,opengl,clgpu[0].GLName,glgpu[],glgpu,clgpu[x],GLName ,a%2Cb",
      "");
  TestApp app;
  EXPECT_EQ(app.RunWith({}), 0);
  EXPECT_EQ(app.out, joined(goldenLines("report")));
  EXPECT_EQ(
      std::regex_replace(app.err, std::regex("GPUPROBE_SKIP: nothing is called (.*)\n"), "$1;"),
      "GLName ;a,b;clgpu[0].GLName;clgpu[x];glgpu;glgpu[];opengl;");
  setSwitches("", "");
}

TEST(HostSwitches, PartsAreNamedByWhatIsPrintable) {
  Lines said;
  HostSwitches switches("NumGLGPUs card (2),OGLContextCreated a%2C?", true,
                        [&](const std::string& text) { said.push_back(text); });
  switches.BeginStage("NumGLGPUs");
  for (const char* identity : {"0", "1", "2"})
    EXPECT_EQ(switches.AdmitsPart("card", identity), *identity != '1');
  EXPECT_FALSE(switches.AdmitsPart("a,\n", "3"));
  EXPECT_TRUE(switches.AdmitsPart(std::string(200, 'x'), "4"));
  EXPECT_THAT(said,
              ElementsAre("asking NumGLGPUs", "asking NumGLGPUs card", "skipped NumGLGPUs card (2)",
                          "asking NumGLGPUs card (3)", "skipped NumGLGPUs a,?",
                          "asking NumGLGPUs " + std::string(100, 'x')));
}

TEST(HostSwitches, SkippedPlatformsAreNotAskedForTheirDevices) {
  fakeMachine = {};
  fakeMachine.make = [] { return boost::make_shared<Hardware>(); };
  FakeCL fake;
  fake.platforms.resize(3);
  fake.platforms[1].name = "Other, Ltd";
  Lines said;
  ActiveSwitches() = HostSwitches("NumCLGPUs Other%2C Ltd,NumCLGPUs Fake (2)", true,
                                  [&](const std::string& text) { said.push_back(text); });
  ActiveSwitches().BeginStage("NumCLGPUs");
  EXPECT_EQ(Hardware().DoGetCLGPUs().size(), 1U);
  EXPECT_THAT(said, ElementsAre("asking NumCLGPUs", "asking NumCLGPUs Fake",
                                "skipped NumCLGPUs Other, Ltd", "skipped NumCLGPUs Fake (2)"));
  EXPECT_EQ(fake.counts["clGetDeviceIDs"], 2U);
  ActiveSwitches() = {};
  fakeMachine = {};
}

}  // namespace
