#include <gmock/gmock.h>

#include <ctime>
#include <regex>

#include "tests/e2e/Probe.h"
#include "tests/support/GoldenReport.h"

namespace {

using namespace testing;

/// The lines with empty texts and lists and with 0 for a number, where those are the machine's.
Lines shapesOf(Lines lines) {
  static const std::regex text(R"x(^(glgpu.*?|sniffer.*?)=(".*"|\.\.\.)$)x"),
      list(R"(^(glgpu.*?)=\[\d+\]$)"), number(R"(^(glgpu.*?|Num.*?)=\d+$)");
  for (std::string& line : lines) {
    line = std::regex_replace(line, text, "$1=\"\"");
    line = std::regex_replace(line, list, "$1=[]");
    line = std::regex_replace(line, number, "$1=0");
  }
  return lines;
}

/// The golden report on a machine with one OpenGL GPU alone.
Lines expectedReport() {
  Lines lines, named;
  for (const std::string& line : goldenLines("report")) {
    named.push_back(line);
    if (contains(line, "gputag.")) continue;
    if (!contains(line, "gpu[") || contains(line, "glgpu[0]"))
      lines.insert(lines.end(), named.begin(), named.end());
    named.clear();
  }
  return lines;
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
  EXPECT_EQ(shapesOf(run.out), shapesOf(expectedReport()));
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
  const Outcome run = RunProbe({{"-verbose=3=4", "-throwAfter=7"}});
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

// Of the code the system keeps the low byte.
TEST(Report, StandsBetweenTheLinesOfOptions) {
  const Outcome run = RunProbe({{"-stdout=\"a b\"", "-stdout=a\"b", "-comment=%s", "-stderr=%n",
                                 "-throwAfter=4294967295", "-exit=3", "-exit=-1", "-timeout=600",
                                 "-timeout=0", "-hang=-1", "-verbose=1", "-verbose=none"}});
  Lines out = {"a b", "a\"b", "# %s"};
  out.insert(out.end(), PlainReport().begin(), PlainReport().end());
  EXPECT_EQ(run.out, out);
  EXPECT_EQ(run.err, Lines{"%n"});
  EXPECT_EQ(run.code, 255);
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

// Wine passes none of these on.
TEST(LinuxOptions, HugeAndNotUTF8) {
  const std::string huge(100000, 'x'), bytes = "\xff\xfe\x80 \xc3(";
  const Outcome run = RunProbe({{"-stdout=" + huge, "-stderr=\"" + huge + "\"", "-app=" + huge,
                                 "-exit=-4294967291", "-stdout=" + bytes, "-x=" + bytes}});
  EXPECT_TRUE(run.out == Lines({huge, bytes})) << run.text.substr(0, 4000);
  EXPECT_TRUE(!run.err.empty() && run.err[0] == huge);
  EXPECT_EQ(run.code, 3);
}

// Every step fails once over fake GPUs; every third reaches each kind of step over real ones.
TEST(Sweep, FailsAtTheStepAskedFor) {
  const unsigned steps = RehearsedRun(PlainReport()).steps;
  ASSERT_GE(steps, 35U);
  for (const std::string option : {"-throwAfter=", "-crashAfter="})
    for (unsigned after = 0; after <= steps + 1; after += 3) {
      const Outcome outcome = RunProbe({{"-exit=7", option + std::to_string(after)}});
      const unsigned other = RehearsedRun::kNever;
      const RehearsedRun expected = option == "-throwAfter="
                                        ? RehearsedRun(PlainReport(), after, other)
                                        : RehearsedRun(PlainReport(), other, after);
      EXPECT_EQ(outcome.out, expected.out) << option << after;
      EXPECT_EQ(outcome.err, expected.err) << option << after;
      EXPECT_EQ(outcome.code, expected.err.empty() ? 7 : 2) << option << after;
    }
}

}  // namespace
