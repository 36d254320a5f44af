#include <gtest/gtest.h>

#include "Support.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;
using Kind = Ending::Kind;

#ifdef _WIN32
constexpr bool kWindows = true;
#else
constexpr bool kWindows = false;
#endif

Ending exited(std::uint32_t code) {
  return {Kind::Exited, code};
}
Ending killed() {
  return {Kind::Signalled, 9};
}
Ending crashed(std::uint32_t signal, Ending onWindows) {
  return kWindows ? onWindows : Ending{Kind::Signalled, signal};
}
Ending exception(std::uint32_t code) {
  return {Kind::Exception, code};
}

struct Row {
  std::vector<std::string> arguments;
  int deadline;  ///< milliseconds; the program ends by itself before it, or is killed at it
  Ending ending;
  std::uint64_t out = 0;  ///< bytes read from it
  int killedAtLeast = 0;
};

constexpr int kEnough = 60000;
constexpr int kShort = 1500;  // a start under a tool on a busy machine takes its time
constexpr std::uint64_t kMiB = 1 << 20;

const std::vector<Row> kZoo = {
    {{"exit", "0"}, kEnough, exited(0)},
    {{"exit", "1"}, kEnough, exited(1)},
    {{"exit", "139"}, kEnough, exited(139)},
    {{"exit", "259"}, kEnough, exited(kWindows ? 259 : 3)},  // Linux keeps eight bits
    {{"segv"}, kEnough, crashed(11, exception(0xC0000005))},
    {{"fpe"}, kEnough, crashed(8, exception(0xC0000094))},
    {{"abort"}, kEnough, crashed(6, exited(3))},  // what Microsoft's C runtime makes of it
    {{"spin"}, kShort, killed(), 0, 1},
    {{"sleep"}, kShort, killed(), 0, 1},
    {{"ignore"}, kShort, killed(), 1, 1},
    {{"closed"}, kShort, killed(), 0, 1},
    {{"flood-errors"}, kEnough, exited(0), 6},
    {{"drip"}, kShort, killed(), 2, 1},
    {{"grandchild"}, kEnough, exited(0), 1, 1},
    {{"left-session"}, kEnough, exited(0), 1, 1},
    {{"storm", kWindows ? "20" : "200"}, kWindows ? 8000 : 2000, killed(), 1, 2},
    {{"copy"}, kEnough, exited(0)},
    {{"print", kWindows ? "64" : "1024"}, kEnough, exited(0), (kWindows ? 64 : 1024) * kMiB},
    {{"unfinished"}, kEnough, exited(0), 7},
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << row.arguments[0];
}

class ZooTest : public testing::TestWithParam<Row> {};

TEST_P(ZooTest, ComesBackByTheDeadlineAndLeavesNothing) {
  const Row& row = GetParam();
  Command command = zoo(row.arguments);
  command.killBudget = milliseconds(20000);  // how long it really takes is checked below
  const Leftovers before = countLeftovers();
  const Metronome machine;
  const Time deadline = in(row.deadline);
  const RunResult result = run(command, deadline);
  const double late = millisecondsBetween(deadline, Clock::now());
  ASSERT_FALSE(result.error) << result.error->message();
  EXPECT_EQ(result.ending.name(), row.ending.name());
  EXPECT_EQ(result.timedOut, row.deadline != kEnough);
  EXPECT_FALSE(result.stuck);
  EXPECT_EQ(result.outRead, row.out);
  EXPECT_EQ(result.out.text.size() + result.out.dropped, row.out);
  EXPECT_LE(result.out.text.size(), command.out.cap);
  EXPECT_EQ(result.outError, 0);
  EXPECT_GE(result.killedProcesses, row.killedAtLeast);
  EXPECT_LE(late, machine.allow(150));
  const bool crash = row.ending.kind == Kind::Signalled || row.ending.kind == Kind::Exception;
  const auto entered = [&](AppState state) { return result.entered[static_cast<int>(state)]; };
  ASSERT_TRUE(entered(crash ? AppState::Crashed : AppState::Finished));
  EXPECT_EQ(entered(AppState::Killing).has_value(), result.timedOut);
  if (const auto ended = entered(AppState::Finishing)) {
    EXPECT_LE(millisecondsBetween(*ended, *entered(crash ? AppState::Crashed : AppState::Finished)),
              machine.allow(200 + 150));
  }
  expectNothingLeft(before, row.arguments[0]);
}

INSTANTIATE_TEST_SUITE_P(All, ZooTest, testing::ValuesIn(kZoo), [](const auto& row) {
  std::string name;
  for (const std::string& word : row.param.arguments) name += word;
  for (char& c : name)
    if (c == '-') c = '_';
  return name;
});

TEST(ConsoleApp, LinesComeWithTheirTimes) {
  const std::unique_ptr<ConsoleApp> app = [] {
    LaunchError error;
    return systemLauncher().launch(zoo({"cut-crlf"}), in(kEnough), error);
  }();
  ASSERT_TRUE(app);
  EXPECT_GT(app->id(), 0U);
  Line first;
  Line second;
  ASSERT_EQ(app->nextLine(first, in(kEnough)), Channel::Taken::Line);
  ASSERT_EQ(app->nextLine(second, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(first.text, "a\r");
  EXPECT_EQ(second.text, "b\r");
  EXPECT_TRUE(second.ended);
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
  Command command = zoo({"one-long-line", "67108864"});
  command.out.cap = std::size_t{256} << 20;
  LaunchError error;
  const auto app = systemLauncher().launch(command, in(kEnough), error);
  Line line;
  ASSERT_EQ(app->nextLine(line, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(line.text.size(), 67108864U);
  EXPECT_TRUE(line.ended);
}

TEST(ConsoleApp, InputSinksAndTheHostsFolder) {
  Command command = zoo({"copy"});
  command.input = Command::Input::Pipe;
  std::string seen;
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [&seen](std::string_view bytes, Time) { return seen += bytes, true; };
  LaunchError error;
  const auto app = systemLauncher().launch(command, in(kEnough), error);
  ASSERT_TRUE(app) << error.message();
  const std::string much(1 << 20, 'y');
  EXPECT_EQ(app->write(much, in(kEnough)), Transfer::Done);
  app->closeInput();
  EXPECT_TRUE(app->waitForEnd(in(kEnough)));
  EXPECT_EQ(seen, much);

  // Nobody reads: the pipe fills up, and neither a signal nor a hang comes of it.
  command.program = zoo({}).program;
  command.arguments = {"sleep"};
  const auto deaf = systemLauncher().launch(command, in(kEnough), error);
  EXPECT_EQ(deaf->write(much, in(100)), Transfer::Timeout);
  EXPECT_TRUE(deaf->Kill(milliseconds(20000)));
  EXPECT_NE(deaf->write(much, in(100)), Transfer::Done);
}

TEST(ConsoleApp, SinkThatBlocksHoldsOnlyItself) {
  static std::atomic<bool> release{false};
  static std::atomic<bool> left{false};
  Command command = zoo({"say", "x"});
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [](std::string_view, Time) {
    while (!release) std::this_thread::sleep_for(milliseconds(1));
    left = true;
    return true;
  };
  command.killBudget = milliseconds(2000);  // half of it goes to the sink
  const Metronome machine;
  const Time deadline = in(kShort);
  const RunResult result = run(command, deadline);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.ending.name(), "exit code 0");
  // The destructor waits a second for threads before it lets go of them.
  EXPECT_LE(millisecondsBetween(deadline, Clock::now()), machine.allow(1000 + 1150));
  release = true;
  while (!left) std::this_thread::yield();
  std::this_thread::sleep_for(milliseconds(50));
}

TEST(Launch, FailuresSayWhatAndLeaveNothing) {
  struct Bad {
    std::string program;
    std::string folder;
    std::string part;  ///< of the message
  };
  const std::string folder = ownPath().substr(0, ownPath().find_last_of("/\\"));
  const Leftovers before = countLeftovers();
  for (const Bad& bad :
       {Bad{folder + "/nosuch", "", "find the program"},
        Bad{"nosuch-in-path", "", "find the program"}, Bad{folder, "", "find the program"},
        Bad{zoo({}).program, folder + "/nosuch", "folder"}}) {
    Command command = zoo({"exit", "0"});
    command.program = bad.program;
    command.folder = bad.folder;
    const RunResult result = run(command);
    ASSERT_TRUE(result.error) << bad.program;
    const std::string message = result.error->message();
    EXPECT_NE(message.find(bad.part), std::string::npos) << message;
    EXPECT_NE(message.find(bad.folder.empty() ? bad.program : bad.folder), std::string::npos)
        << message;
    EXPECT_NE(result.error->code, 0) << message;
    EXPECT_FALSE(result.error->text.empty()) << message;
  }
  Command command = zoo(std::vector<std::string>(kWindows ? 2000 : 100000, std::string(64, 'x')));
  const RunResult result = run(command);
  EXPECT_TRUE(result.error);
  expectNothingLeft(before, "failed launches");
}

TEST(Launch, EnvironmentAndFolderAreTheChildsAlone) {
  Command command = zoo({"variable", "NKUTIL_TEST"});
  command.environment = {{"NKUTIL_TEST", "gr\xC3\xB6\xC3\x9F"}};
#ifdef _WIN32
  command.environment = {{"NKUTIL_TEST", "plain"}};  // the zoo reads the narrow one
#endif
  EXPECT_EQ(run(command).out.text, *command.environment[0].second);
  command.arguments[1] = "PATH";
  command.environment = {{"PATH", std::nullopt}};
  EXPECT_EQ(run(command).out.text, "(none)");
}

TEST(Hosts, ChildDiesWithItsHost) {
  Command command;
  command.program = ownPath();
  command.arguments = {"--host", "holds-a-child"};
  command.keepTree = true;  // it is not our kill that ends the child
  const Leftovers before = countLeftovers();
  LaunchError error;
  auto host = systemLauncher().launch(command, in(kEnough), error);
  ASSERT_TRUE(host) << error.message();
  Line line;
  ASSERT_EQ(host->nextLine(line, in(kEnough)), Channel::Taken::Line);
  EXPECT_EQ(countLeftovers().processes, 1);
  EXPECT_TRUE(host->waitForEnd(in(kEnough)));
  host.reset();
  expectNothingLeft(before, "a host that died");
}

}  // namespace

}  // namespace nkutil::test
