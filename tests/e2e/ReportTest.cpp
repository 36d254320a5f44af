#include <gmock/gmock.h>

#include <ctime>
#include <regex>

#include "tests/e2e/Probe.h"
#include "tests/support/GoldenReport.h"

namespace {

using namespace testing;

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

}  // namespace
