#include <gmock/gmock.h>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

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
  const std::string fake = "LD_LIBRARY_PATH=${GPUPROBE_LAYERS:?}/egl FAKE_EGL=renderer=B";
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
