#include <gtest/gtest.h>

#include <cstdlib>

#include "nkutil/Calls.h"
#include "tests/nkutil/Support.h"

namespace nkutil::test {

std::vector<Row> allRows() {
  std::vector<Row> rows = {
      {{"exit", "0"}, kEnough, "exit code 0"},
      {{"exit", "1"}, kEnough, "exit code 1"},
      {{"exit", "139"}, kEnough, "exit code 139"},
      {{"spin"}, kShort, "SIGKILL", 0, 1},
      {{"sleep"}, kShort, "SIGKILL", 0, 1},
      {{"ignore"}, kShort, "SIGKILL", 1, 1},
      {{"closed"}, kShort, "SIGKILL", 0, 1},
      {{"flood-errors"}, kEnough, "exit code 0", 6},
      {{"drip", "2"}, 5000, "SIGKILL", 2, 1},
      {{"grandchild"}, kEnough, "exit code 0", 1, 1},
      {{"left-session"}, kEnough, "exit code 0", 1, 1},
      {{"copy"}, kEnough, "exit code 0"},
      {{"unfinished"}, kEnough, "exit code 0", 7},
  };
  for (Row& row : systemRows()) rows.push_back(std::move(row));
  return rows;
}

class ZooTest : public testing::TestWithParam<Row> {};

TEST_P(ZooTest, ComesBackByTheDeadlineAndLeavesNothing) {
  const Row& row = GetParam();
  const testing::ScopedTrace trace(__FILE__, __LINE__, row.arguments[0]);
  Command command = zoo(row.arguments);
  command.killBudget = kSurely;  // how long it really takes is checked below
  const Leftovers before = countLeftovers();
  const Metronome machine;
  const Time deadline = in(row.deadline);
  const RunResult result = run(command, deadline);
  const double late = millisecondsBetween(deadline, Clock::now());
  ASSERT_FALSE(result.error) << result.error->message();
  EXPECT_EQ(result.ending.name(), row.ending);
  EXPECT_EQ(result.timedOut, row.deadline != kEnough);
  EXPECT_FALSE(result.stuck);
  EXPECT_EQ(result.outRead, row.out);
  EXPECT_EQ(result.out.text.size(), std::min<std::uint64_t>(row.out, command.out.cap));
  EXPECT_EQ(result.out.text.size() + result.out.dropped, row.out);
  EXPECT_EQ(result.out.gap, result.out.dropped ? command.out.cap / 2 : row.out);
  EXPECT_EQ(result.outError, 0);
  EXPECT_GE(result.killedProcesses, row.killedAtLeast);
  EXPECT_LE(late, machine.allow(150));
  const auto entered = [&](AppState state) { return result.entered[static_cast<int>(state)]; };
  const bool crash = result.ending.kind != Ending::Kind::Exited;
  const auto end = entered(crash ? AppState::Crashed : AppState::Finished);
  ASSERT_TRUE(end);
  EXPECT_EQ(entered(AppState::Killing).has_value(), result.timedOut);
  if (const auto ended = entered(AppState::Finishing)) {
    EXPECT_LE(millisecondsBetween(*ended, *end), machine.allow(200 + 150));
  }
  expectNothingLeft(before, row.arguments[0]);
}

INSTANTIATE_TEST_SUITE_P(All, ZooTest, testing::ValuesIn(allRows()));

TEST(ConsoleApp, LinesComeWithTheirTimes) {
  const auto app = launch(zoo({"cut-crlf"}));
  ASSERT_TRUE(app);
  Line first;
  Line second;
  ASSERT_EQ(app->nextLine(first, in(kEnough)), Channel::Taken::Line);
  ASSERT_EQ(app->nextLine(second, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(first.text, "a\r");
  EXPECT_EQ(second.text, "b\r");
  // The first line end came after the pause, the first byte before it.
  EXPECT_GE(millisecondsBetween(*app->entered(AppState::Running), first.time), 30);
  EXPECT_EQ(app->nextLine(first, in(kEnough)), Channel::Taken::Closed);
  EXPECT_TRUE(app->WaitFor(AppState::Finished, in(kEnough)));
  EXPECT_TRUE(app->WaitFor(AppState::Launched, Time::min()));
  EXPECT_FALSE(app->WaitFor(AppState::Killing, kForever));
  EXPECT_FALSE(app->WaitFor(AppState::Crashed, kForever));
}

TEST(ConsoleApp, BytesStayWhatTheyAre) {
  EXPECT_EQ(run(zoo({"zeros"})).out.text, std::string("a\0b\n", 4));
  Command command = zoo({"long-line"});
  command.out.cap = std::size_t{256} << 20;
  const auto app = launch(command);
  Line line;
  ASSERT_EQ(app->nextLine(line, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(line.text.size(), std::size_t{64} << 20);
  EXPECT_TRUE(line.ended);
}

TEST(ConsoleApp, InputAndSinks) {
  Command command = zoo({"copy"});
  command.input = Command::Input::Pipe;
  std::string seen;
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [&seen](std::string_view bytes, Time) { return seen += bytes, true; };
  const auto app = launch(command);
  const std::string much(1 << 20, 'y');
  EXPECT_EQ(app->write(much, in(kEnough)), Transfer::Done);
  app->closeInput();
  EXPECT_TRUE(app->waitForEnd(in(kEnough)));
  EXPECT_EQ(seen, much);

  // Nobody reads: the pipe fills up, and neither a signal nor a hang comes of it.
  command.arguments = {"sleep"};
  const auto deaf = launch(command);
  EXPECT_EQ(deaf->write(much, in(100)), Transfer::Timeout);
  EXPECT_TRUE(deaf->Kill(kSurely));
  EXPECT_NE(deaf->write(much, in(100)), Transfer::Done);
}

TEST(ConsoleApp, SinkThatBlocksHoldsOnlyItself) {
  static std::atomic<bool> release{false};
  static std::atomic<bool> left{false};
  Command command = zoo({"say", "x"});
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [](std::string_view, Time) {
    while (!release) std::this_thread::sleep_for(Milliseconds(1));
    return left = true;
  };
  command.killBudget = Milliseconds(2000);  // half of it goes to the sink
  const Metronome machine;
  const Time deadline = in(kShort);
  const RunResult result = run(command, deadline);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.ending.name(), "exit code 0");
  // The destructor waits a second for threads before it lets go of them.
  EXPECT_LE(millisecondsBetween(deadline, Clock::now()), machine.allow(1000 + 1150));
  release = true;
  while (!left) std::this_thread::yield();
  std::this_thread::sleep_for(Milliseconds(50));
}

TEST(Launch, FailuresSayWhatAndLeaveNothing) {
  using Bad = std::tuple<std::string, std::string, std::string>;  // and a part of the message
  const std::string here = ownPath().substr(0, ownPath().find_last_of("/\\"));
  const Leftovers before = countLeftovers();
  for (const auto& [program, folder, part] :
       {Bad(here + "/nosuch", "", "find the program"),
        Bad("nosuch-in-path", "", "find the program"), Bad(here, "", "find the program"),
        Bad(zoo({}).program, here + "/nosuch", "folder")}) {
    Command command = zoo({"exit", "0"});
    command.program = program;
    command.folder = folder;
    const RunResult result = run(command);
    ASSERT_TRUE(result.error) << program;
    const std::string message = result.error->message();
    EXPECT_NE(message.find(part), std::string::npos) << message;
    EXPECT_NE(message.find(folder.empty() ? program : folder), std::string::npos) << message;
    EXPECT_NE(result.error->code, 0) << message;
    EXPECT_FALSE(result.error->text.empty()) << message;
  }
  EXPECT_TRUE(run(zoo(std::vector<std::string>(100000, std::string(64, 'x')))).error);
  expectNothingLeft(before, "failed launches");
}

TEST(Launch, EnvironmentIsTheChildsAlone) {
  Command command = zoo({"variable", "NKUTIL_TEST"});
  command.environment = {{"NKUTIL_TEST", "a value"}};
  EXPECT_EQ(run(command).out.text, "a value");
  command.arguments[1] = "PATH";
  command.environment = {{"PATH", std::nullopt}};
  EXPECT_EQ(run(command).out.text, "(none)");
}

TEST(Hosts, ChildDiesWithItsHost) {
  Command command = host("holds-a-child");
  command.keepTree = true;  // it is not our kill that ends the child
  const Leftovers before = countLeftovers();
  auto app = launch(command);
  Line line;
  ASSERT_EQ(app->nextLine(line, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(countLeftovers().processes, 1);
  EXPECT_TRUE(app->waitForEnd(in(kEnough)));
  app.reset();
  expectNothingLeft(before, "a host that died");
}

TEST(Hosts, AreLeftAsTheyWere) {
  for (const auto& [mode, play] : hostModes()) {
    const RunResult result = run(host(mode));
    ASSERT_FALSE(result.error) << result.error->message();
    EXPECT_EQ(result.ending.name(), "exit code 0") << mode << ": " << result.err.text;
  }
}

TEST(ManyLaunches, InARowLeakNothing) {
  // For tools and systems on which a launch takes long.
  const char* wanted = std::getenv("NKUTIL_LAUNCHES");
  const int count = wanted ? std::atoi(wanted) : 10000;
  const auto launches = [](int times) {
    for (; times > 0; --times) {
      const RunResult result = run(zoo({"say", "x"}));
      EXPECT_EQ(result.out.text + result.ending.name(), "xexit code 0");
    }
  };
  launches(count / 10);
  const Leftovers before = countLeftovers();
  const long memory = residentKiB();
  launches(count);
  expectNothingLeft(before, "many launches");
  // Tools keep memory of their own for each.
  EXPECT_LE(wanted ? 0 : residentKiB(), memory + 1024);
}

void launchEight() {
  std::unique_ptr<ConsoleApp> apps[8];
  for (int k = 0; k < 8; ++k) {
    // A pipe of one that another inherits would stay open as long as the sleepers live.
    Command command = k < 4 ? zoo({"sleep"}) : zoo({"say", "x\n"});
    command.drainBudget = Milliseconds(50000);
    apps[k] = launch(command);
    ASSERT_TRUE(apps[k]);
  }
  Line line;
  const Time begin = Clock::now();
  for (int k = 4; k < 8; ++k) {
    EXPECT_EQ(apps[k]->nextLine(line, in(kEnough)), Channel::Taken::Line);
    EXPECT_TRUE(apps[k]->WaitFor(AppState::Finished, in(kEnough)));
  }
  EXPECT_LE(millisecondsBetween(begin, Clock::now()), 40000);
  for (const auto& app : apps) EXPECT_TRUE(app->Kill(kSurely));
}

TEST(ManyLaunches, AtOnceFromManyThreads) {
  const Leftovers before = countLeftovers();
  std::vector<std::thread> threads(8);
  for (std::thread& thread : threads) thread = std::thread(launchEight);
  for (std::thread& thread : threads) thread.join();
  expectNothingLeft(before, "64 at once");
}

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
  const int code = result.error ? result.error->code : result.outError;
  EXPECT_TRUE(code == faultCode || result.out.text + result.ending.name() == "xexit code 0")
      << code << result.ending.name();
  EXPECT_FALSE(result.timedOut);
}

void killItsTree() {
  Command command = zoo({"storm", "2"});
  command.input = Command::Input::Pipe;
  LaunchError error;
  const auto app = systemLauncher().launch(command, in(kEnough), error);
  EXPECT_TRUE(app || error.code == faultCode) << error.message();
  if (!app) return;
  app->write("y", in(kEnough));
  app->WaitFor(AppState::Running, in(kEnough));
  EXPECT_TRUE(app->Kill(kSurely));
  EXPECT_EQ(app->ending().name(), "SIGKILL");
}

class FaultTest : public testing::TestWithParam<int> {};

TEST_P(FaultTest, EachCallFailingOnceLeavesNothing) {
  for (const auto scenario : {runToItsEnd, killItsTree}) {
    scenario();  // whatever is made once is made
    callsLeft = 0;
    for (int n = 1; callsLeft < 1; ++n) {
      const Leftovers before = countLeftovers();
      faultCode = GetParam();
      callsLeft = n;
      setCallFault(failOne);
      scenario();
      setCallFault(nullptr);
      expectNothingLeft(before, "a failed call");
      ASSERT_FALSE(HasFailure()) << "call " << n << " of kind " << failedCall;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Codes, FaultTest, testing::ValuesIn(faultCodes()));

}  // namespace nkutil::test
