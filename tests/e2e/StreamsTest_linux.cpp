#include <gmock/gmock.h>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

constexpr size_t kWhole = 1000;

struct Redirection {
  const char* name;
  const char* streams;
  bool out;  // still there
  bool err;
  size_t least;  // lines of the report that must fail to be written
  const char* before = "";
};

class Streams : public TestWithParam<Redirection> {};

TEST_P(Streams, ChangeNothingElse) {
  const Redirection& redirection = GetParam();
  const auto run = [&](const Lines& arguments) {
    // Descriptor 3 is a pipe whose reader has gone.
    return RunProbe({arguments, std::string("exec 3> >(:); wait $!;") + redirection.before,
                     redirection.streams});
  };
  using Case = std::pair<Lines, int>;
  for (const auto& [arguments, code] :
       {Case{{"-verbose=1", "-exit=7"}, 7}, {{"-throwAfter=7", "-exit=7"}, 2}, {{"stray"}, 3}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.code, code) << PrintToString(arguments);
  }
  const Outcome plain = run({});
  EXPECT_EQ(plain.code, 0);
  const size_t lines = PlainReport().size();
  EXPECT_TRUE(!redirection.out || plain.out == PlainReport()) << plain.text;
  EXPECT_THAT(plain.err, Each("DoStdout failed"));
  EXPECT_LE(plain.err.size(), redirection.out ? 0 : lines);
  EXPECT_GE(plain.err.size(), redirection.err ? std::min(redirection.least, lines) : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Linux, Streams,
    Values(Redirection{"InClosed", R"(<&- >"$0/out" 2>"$0/err")", true, true, 0},
           Redirection{"OutClosed", R"(>&- 2>"$0/err")", false, true, kWhole},
           Redirection{"OutFull", R"(>/dev/full 2>"$0/err")", false, true, kWhole},
           Redirection{"OutBroken", R"(>&3 2>"$0/err")", false, true, kWhole},
           // How many lines come through before the reader leaves is its own affair.
           Redirection{"OutCut", R"(2>"$0/err" > >(head -n 1 >/dev/null))", false, true, 0},
           Redirection{"ErrClosed", R"(>"$0/out" 2>&-)", true, false, 0},
           Redirection{"ErrFull", R"(>"$0/out" 2>/dev/full)", true, false, 0},
           Redirection{"BothBroken", ">&3 2>&3", false, false, 0},
           Redirection{"NoRoom", R"(>"$0/out" 2>"$0/err")", false, false, 0, "ulimit -f 0;"},
           Redirection{"AllClosed", "<&- >&- 2>&-", false, false, 0}),
    nameOf);

}  // namespace
