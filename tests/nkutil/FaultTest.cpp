#include <gtest/gtest.h>

#include <cerrno>

#include "Support.h"
#include "nkutil/Calls.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

std::atomic<int> callsLeft{0};
std::atomic<int> faultCode{0};

std::atomic<int> failedCall{-1};

int failOne(Call call) {
  if (callsLeft.fetch_sub(1) != 1) return 0;
  failedCall = static_cast<int>(call);
  return faultCode;
}

/// A clear error, or the right answer.
void runToItsEnd() {
  const RunResult result = run(zoo({"say", "x"}));
  if (result.error) {
    EXPECT_FALSE(result.error->step.empty());
    EXPECT_EQ(result.error->code, faultCode) << result.error->message();
  } else if (result.outError == 0) {
    EXPECT_EQ(result.out.text, "x");
    EXPECT_EQ(result.ending.name(), "exit code 0");
    EXPECT_FALSE(result.timedOut);
  } else {
    EXPECT_EQ(result.outError, faultCode);
  }
}

void killItsTree() {
  Command command = zoo({"storm", "2"});
  command.input = Command::Input::Pipe;
  LaunchError error;
  const auto app = systemLauncher().launch(command, in(60000), error);
  if (!app) {
    EXPECT_EQ(error.code, faultCode) << error.message();
    return;
  }
  app->write("y", in(60000));
  Line line;
  app->WaitFor(AppState::Running, in(60000));
  EXPECT_TRUE(app->Kill(milliseconds(20000)));
  EXPECT_EQ(app->ending().name(), "SIGKILL");
}

class FaultTest : public testing::TestWithParam<int> {};

TEST_P(FaultTest, EachCallFailingOnceLeavesNothing) {
  for (const auto scenario : {runToItsEnd, killItsTree}) {
    scenario();  // whatever is made once is made
    for (int n = 1;; ++n) {
      const Leftovers before = countLeftovers();
      faultCode = GetParam();
      const testing::ScopedTrace trace(__FILE__, __LINE__, "call " + std::to_string(n));
      callsLeft = n;
      setCallFault(failOne);
      scenario();
      setCallFault(nullptr);
      expectNothingLeft(before, "a failed call");
      ASSERT_LT(n, 3000);
      ASSERT_FALSE(HasFailure()) << "of kind " << failedCall;
      if (callsLeft >= 1) break;
    }
  }
}

#ifdef _WIN32
INSTANTIATE_TEST_SUITE_P(Codes, FaultTest, testing::Values(8, 1450));  // no memory, no resources
#else
INSTANTIATE_TEST_SUITE_P(Codes, FaultTest, testing::Values(EINTR, EMFILE));
#endif

}  // namespace

}  // namespace nkutil::test
