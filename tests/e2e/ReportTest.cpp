#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <regex>

#include "tests/e2e/Probe.h"
#include "tests/support/GoldenReport.h"

namespace {

using namespace testing;
using std::string_literals::operator""s;

/// The keys in their order, but for those of other GPUs than the first of OpenGL.
Lines keysOf(const Lines& report) {
  Lines keys;
  for (const std::string& line : report)
    if (contains(line, "glgpu[0]") || !(contains(line, "gpu[") || contains(line, "gputag.")))
      keys.push_back(line.substr(0, line.find('=')));
  return keys;
}

std::string localTime() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof text, "\"%Y-%m-%d_%H:%M:%S\"", std::localtime(&now));
  return text;
}

TEST(Report, HasEveryLineInOrder) {
  // Most machines that run tests are set to UTC, which would hide a wrong zone.
  setenv("TZ", "IST-5:30", 1);
  const std::string before = localTime();
  const Outcome run = RunProbe({});
  const std::string after = localTime();
  unsetenv("TZ");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, Lines());
  EXPECT_EQ(keysOf(run.out), keysOf(goldenLines("report")));
  EXPECT_THAT(run.out, IsSupersetOf({"NumGLGPUs=1", "glgpu[0].CanCompileProgramGLSL=1",
                                     "glgpu[0].GLFrameBufferOK=1"}));
  std::smatch time;
  ASSERT_TRUE(std::regex_search(
      run.text, time, std::regex("snifferStart=(\".{19}\")[^]*snifferEnd=(\".{19}\")\r?\n$")));
  // The format sorts by time.
  EXPECT_LE(before, time[1]);
  EXPECT_LE(time[1], time[2]);
  EXPECT_LE(time[2], after);
}

TEST(Report, DiagnosticsStandBetweenTheLines) {
  const Outcome run = RunProbe({{"-verbose=-3=4", "-throwAfter=7"}});
  EXPECT_EQ(run.code, 2);
  EXPECT_EQ(run.err, Lines{"exception: Programmed throw"});
  EXPECT_EQ(run.report, PlainReport());
  EXPECT_THAT(run.comments, Contains(HasSubstr("] Testing terminated for glgpu[0]")));
  const std::regex layout(
      R"(# (\d{5})_\d{4}/\d\d/\d\d_\d\d:\d\d:\d\d\.\d{3}\((\+\d\d\.\d{3})\)\[[0-9a-f]+\] \S.*)");
  for (size_t i = 0; i < run.comments.size(); ++i) {
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(run.comments[i], parts, layout)) << run.comments[i];
    EXPECT_EQ(std::stoul(parts[1]), i);
    EXPECT_TRUE(i > 0 || parts[2] == "+00.000");
  }
}

TEST(Report, IsMissingAfterAUsageError) {
  // Help comes at once, so nothing behind it happens; all else waits for the end of the line.
  for (const char* wrong : {"-help", "stray"}) {
    const Outcome run = RunProbe({{"-exit=5", "-stdout=a", wrong, "-stdout=b"}});
    EXPECT_EQ(run.code, 3);
    EXPECT_EQ(run.err, goldenLines("usage"));
    EXPECT_EQ(run.out.size(), *wrong == '-' ? 1U : 2U);
  }
}

// Every step fails once over fake GPUs; every third reaches each kind of step over real ones.
TEST(Sweep, FailsAtTheStepAskedFor) {
  constexpr unsigned kNever = RehearsedRun::kNever;
  const unsigned steps = RehearsedRun(PlainReport()).steps;
  ASSERT_GE(steps, 35U);
  for (const bool thrown : {true, false})
    for (unsigned after = 0; after <= steps + 1; after += 3) {
      const std::string option = (thrown ? "-throwAfter=" : "-crashAfter=") + std::to_string(after);
      const Outcome outcome = RunProbe({{"-exit=7", option}});
      const RehearsedRun expected(PlainReport(), thrown ? after : kNever, thrown ? kNever : after);
      EXPECT_EQ(outcome.out, expected.out) << option;
      EXPECT_EQ(outcome.err, expected.err) << option;
      EXPECT_EQ(outcome.code, expected.err.empty() ? 7 : 2) << option;
    }
}

/// What plain EGL and GL calls answer. GPUPROBE_FLOOR names the program that makes them.
Lines referenceLines(const std::string& environment) {
  const Outcome run = RunProbe({{}, environment, Start().streams, "$GPUPROBE_FLOOR"});
  EXPECT_EQ(run.code, 0);
  return run.out;
}

// The operating system answers the other questions, or nobody.
const std::regex kDriversAnswer(
    R"(glgpu\[0\]\.(?!IsIntegratedGLGPU|GLMemoryMB|GLVendorID|GLRendererID|GLDriverDate).*)");

TEST(LinuxReference, EveryValueIsTheDrivers) {
  if (!std::getenv("GPUPROBE_FLOOR")) GTEST_SKIP() << "GPUPROBE_FLOOR is not set";
  const struct {
    const char* environment;
    unsigned failing;  // questions that end in a GL error
    const char* glsl;
  } drivers[] = {
      {"", 0, "1"},
      {"MESA_GL_VERSION_OVERRIDE=2.1", 0, "1"},
      {"MESA_GL_VERSION_OVERRIDE=1.4", 0, "0"},
      {"MESA_EXTENSION_OVERRIDE=-GL_ARB_texture_float", 0, "1"},
      {"GALLIUM_DRIVER=softpipe", 0, "1"},
      {"MESA_EXTENSION_OVERRIDE='-GL_ARB_fragment_program -GL_ARB_vertex_program'", 3, "1"}};
  const Lines plain = referenceLines("");
  for (const auto& [environment, failing, glsl] : drivers) {
    SCOPED_TRACE(environment);
    const Lines reference = referenceLines(environment);
    EXPECT_EQ(reference == plain, *environment == '\0');
    const Outcome run = RunProbe({{}, environment});
    EXPECT_EQ(run.code, failing ? 2 : 0);
    EXPECT_THAT(run.out, IsSupersetOf(reference));
    EXPECT_THAT(run.out, IsSupersetOf({"NumGLGPUs=1"s, "glgpu[0].GLFrameBufferOK=1"s,
                                       "glgpu[0].CanCompileProgramGLSL="s + glsl}));
    Lines answers;
    for (const std::string& line : run.out)
      if (std::regex_match(line, kDriversAnswer)) answers.push_back(line);
    EXPECT_EQ(answers.size(), 31 - failing);
    EXPECT_THAT(reference, IsSupersetOf(answers));
    Lines errors;
    for (unsigned i = 0; i < failing; ++i)
      errors.insert(errors.end(), {"Failed requirement: glStatus == GL_NO_ERROR",
                                   "exception: Failed requirement: glStatus == GL_NO_ERROR"});
    EXPECT_EQ(run.err, errors);
  }
}

TEST(LinuxStreams, ChangeNothingElse) {
  constexpr size_t kWhole = 1000;
  const struct {
    const char* streams;
    bool out;  // still there
    bool err;
    size_t least;  // lines of the report that must fail to be written
  } redirections[] = {{R"(<&- >"$0/out" 2>"$0/err")", true, true, 0},
                      {R"(>&- 2>"$0/err")", false, true, kWhole},
                      {R"(>/dev/full 2>"$0/err")", false, true, kWhole},
                      {R"(>&3 2>"$0/err")", false, true, kWhole},
                      // How many lines come through before the reader leaves is its own affair.
                      {R"(2>"$0/err" > >(head -n 1 >/dev/null))", false, true, 0},
                      {R"(>"$0/out" 2>&-)", true, false, 0},
                      {R"(>"$0/out" 2>/dev/full)", true, false, 0},
                      {">&3 2>&3", false, false, 0},
                      {"<&- >&- 2>&-", false, false, 0}};
  // It answers faster than a real driver.
  const std::string fake = "LD_LIBRARY_PATH=${GPUPROBE_LAYERS:?}/egl GPUPROBE_PLAY=renderer=B";
  const Lines report = RunProbe({{}, fake}).out;
  for (const auto& [streams, out, err, least] : redirections) {
    SCOPED_TRACE(streams);
    const auto run = [&, to = streams](const Lines& arguments) {
      // Descriptor 3 is a pipe whose reader has gone.
      return RunProbe({arguments, "exec 3> >(:); wait $!;" + fake, to});
    };
    EXPECT_EQ(run({"-verbose=1", "-exit=7"}).code, 7);
    EXPECT_EQ(run({"-throwAfter=7", "-exit=7"}).code, 2);
    EXPECT_EQ(run({"stray"}).code, 3);
    const Outcome plain = run({});
    EXPECT_EQ(plain.code, 0);
    EXPECT_TRUE(!out || plain.out == report) << plain.text;
    EXPECT_THAT(plain.err, Each("DoStdout failed"));
    EXPECT_LE(plain.err.size(), out ? 0 : report.size());
    EXPECT_GE(plain.err.size(), err ? std::min(least, report.size()) : 0);
  }
  EXPECT_EQ(RunProbe({{"-exit=7"}, "ulimit -f 0;" + fake}).code, 7);
}

}  // namespace
