#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "nkutil/Calls.h"
#include "tests/nkutil/Support.h"

namespace nkutil::test {

const Row kRows[] = {
    {{"exit", "1"}, kEnough, "exit code 1"},
    {{"exit", "139"}, kEnough, "exit code 139"},
    {{"spin"}, kShort, "SIGKILL", 0, 1},
    {{"ignore"}, kLonger, "SIGKILL", 2, 2},
    {{"closed"}, kShort, "SIGKILL", 0, 1},
    {{"flood-errors"}, kEnough, "exit code 0", 6},
    {{"grandchild"}, kEnough, "exit code 0", 1, 1},
    {{"left-session"}, kEnough, "exit code 0", 1, 1},
    {{"copy"}, kEnough, "exit code 0"},
    {{"zeros"}, kEnough, "exit code 0", 4},
    {{"variables", "NKUTIL_TEST", "PATH"}, kEnough, "exit code 0", 15},  // a value|(none)|
};

class ZooTest : public testing::TestWithParam<Row> {};

TEST_P(ZooTest, ComesBackByTheDeadlineAndLeavesNothing) {
  const Row& row = GetParam();
  Command command = zoo(row.arguments);
  command.killBudget = kSurely;  // how long it really takes is checked below
  command.environment = {{"NKUTIL_TEST", "a value"}, {"PATH", std::nullopt}};
  const NothingLeft nothing;
  const Metronome machine;
  const Time deadline = in(row.deadline);
  const RunResult result = run(command, deadline);
  const double late = millisecondsSince(deadline);
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
  // A process that goes costs the machine a millisecond or two, more under the sanitizers.
  EXPECT_LE(late, machine.allow(150 + 3.0 * result.killedProcesses));
  Time last{};
  for (const auto& time : result.entered) last = std::max(last, time.value_or(last));
  const auto entered = [&](AppState state) { return result.entered[static_cast<int>(state)]; };
  const bool crash = result.ending.kind != Ending::Kind::Exited;
  EXPECT_EQ(entered(crash ? AppState::Crashed : AppState::Finished), last);
  EXPECT_FALSE(entered(crash ? AppState::Finished : AppState::Crashed));
  EXPECT_EQ(entered(AppState::Killing).has_value(), result.timedOut);
  const auto ended = entered(AppState::Finishing);
  EXPECT_EQ(ended.has_value(), !result.timedOut);
  EXPECT_LE(millisecondsSince(ended.value_or(last), last), machine.allow(200 + 150));
  const Time running = entered(AppState::Running).value();
  EXPECT_TRUE(!result.timedOut || row.out > 0 ||
              running - *entered(AppState::Launched) == Milliseconds(50));
}

INSTANTIATE_TEST_SUITE_P(All, ZooTest, testing::ValuesIn(kRows));
INSTANTIATE_TEST_SUITE_P(System, ZooTest, testing::ValuesIn(systemRows()));

TEST(ConsoleApp, LinesComeWholeWithTheirTimes) {
  Command command = zoo({"lines"});
  command.out.cap = std::size_t{256} << 20;
  const auto app = launch(command);
  Line lines[3];
  for (Line& line : lines) app->nextLine(line, in(kEnough));
  EXPECT_EQ(lines[0].text + lines[1].text, "a\rb\r");
  // The first line end came after the pause, the first byte before it.
  EXPECT_GE(millisecondsSince(*app->entered(AppState::Running), lines[0].time), 30);
  EXPECT_EQ(lines[2].text.size(), std::size_t{64} << 20);
  EXPECT_TRUE(lines[2].ended);
  EXPECT_EQ(app->nextLine(lines[0], in(kEnough)), Channel::Taken::Closed);
  EXPECT_TRUE(app->WaitFor(AppState::Finished, in(kEnough)));
  EXPECT_TRUE(app->WaitFor(AppState::Launched, Time::min()));
  EXPECT_FALSE(app->WaitFor(AppState::Killing, kForever));
  EXPECT_FALSE(app->WaitFor(AppState::Crashed, kForever));
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
  const Metronome machine;
  const Time deadline = in(100);
  EXPECT_EQ(deaf->write(much, deadline), Transfer::Timeout);
  EXPECT_LE(millisecondsSince(deadline), machine.allow(150));
  // Not that of a program: on Wine its console's own process has it, too, and keeps it.
  Handle ours;
  Handle childs;
  int error = 0;
  ASSERT_TRUE(makePipe(PipeFor::Writing, ours, childs, error));
  childs.reset();
  EXPECT_EQ(Writer(std::move(ours)).write("x", in(kEnough)), Transfer::Closed);
}

TEST(ConsoleApp, SinkThatBlocksHoldsOnlyItself) {
  static std::mutex busy;
  std::unique_lock<std::mutex> lock(busy);
  Command command = zoo({"say", "x"});
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [](std::string_view, Time) { return busy.lock(), busy.unlock(), true; };
  command.killBudget = Milliseconds(2000);  // half of it goes to the sink
  const Metronome machine;
  const Time deadline = in(kLonger);
  const RunResult result = run(command, deadline);
  EXPECT_TRUE(result.timedOut);
  EXPECT_EQ(result.ending.name(), "exit code 0");
  // The destructor waits a second for threads before it lets go of them.
  EXPECT_LE(millisecondsSince(deadline), machine.allow(1000 + 1150));
}

TEST(ConsoleApp, KeptTreeIsLeftAlone) {
  Command command = zoo({"napping-child"});
  command.keepTree = true;
  command.drainBudget = Milliseconds(3000);
  const NothingLeft nothing;  // once the nap is over
  const RunResult result = run(command);
  EXPECT_EQ(result.out.text + result.ending.name(), "lateexit code 0");
  EXPECT_EQ(zooProcesses(), 1);
  // One that never stops writing, faster than it is read, ends with its reader.
  command.arguments = {"flooding-child"};
  command.drainBudget = Milliseconds(0);
  command.out.to = Command::Output::To::Sink;
  command.out.sink = [](std::string_view, Time) {
    return std::this_thread::sleep_for(Milliseconds(1)), true;
  };
  EXPECT_FALSE(run(command).timedOut);
}

TEST(Launch, FindsANameInThePathOrSaysWhatFails) {
  const std::string here = ownPath().substr(0, ownPath().find_last_of("/\\"));
  std::vector<BadStart> rows = {{here + "/nosuch", "find the program"},
                                {"nosuch-in-path", "find the program"},
                                {here, "find the program"},
                                {zoo({}).program, "folder", here + "/nosuch"}};
  for (BadStart& row : systemBadStarts()) rows.push_back(std::move(row));
  const NothingLeft nothing;
  for (const BadStart& row : rows) {
    namespace fs = std::filesystem;
    if (!row.file.empty()) std::ofstream(row.program) << row.file;
    if (row.executable && !row.file.empty()) fs::permissions(row.program, fs::perms::owner_all);
    Command command = zoo({"exit", "0"});
    command.program = row.program;
    command.folder = row.folder;
    const RunResult result = run(command);
    if (!row.file.empty()) fs::remove(row.program);
    ASSERT_TRUE(result.error) << row.program;
    const std::string message = result.error->message();
    EXPECT_NE(message.find(row.part), std::string::npos) << message;
    EXPECT_NE(message.find(row.folder.empty() ? row.program : row.folder), std::string::npos);
    EXPECT_FALSE(result.error->code == 0 || result.error->text.empty()) << message;
  }
  EXPECT_TRUE(run(zoo(std::vector<std::string>(100000, std::string(64, 'x')))).error);
  Command named;
  named.program = "hostname";  // of both systems
  EXPECT_EQ(run(named).ending.name(), "exit code 0");
}

TEST(HostDeathTest, TakesItsChildAlong) {
  const NothingLeft nothing;
  const auto host = [] {
    const auto app = launch(zoo({"sleep"}));
    app->WaitFor(AppState::Running, in(kEnough));
    std::_Exit(zooProcesses());
  };
  EXPECT_EXIT(host(), testing::ExitedWithCode(1), "");
}

TEST(ManyLaunches, InARowLeakNothing) {
  // More for the full proof; fewer for tools and systems on which a launch takes long.
  const char* wanted = std::getenv("NKUTIL_LAUNCHES");
  const int count = wanted ? std::atoi(wanted) : 1000;
  const auto launches = [](int times) {
    for (; times > 0; --times) {
      const RunResult result = run(zoo({"say", "x"}));
      EXPECT_EQ(result.out.text + result.ending.name(), "xexit code 0");
    }
  };
  launches(std::max(count / 10, 20));
  const NothingLeft nothing;
  long pages = 0;
  long after = 0;
  std::ifstream("/proc/self/statm") >> pages >> pages;
  launches(count);
  std::ifstream("/proc/self/statm") >> after >> after;
  EXPECT_LE(count < 1000 ? 0 : after, pages + 256);  // tools keep memory of their own for each
}

void launchEight() {
  std::unique_ptr<ConsoleApp> sleepers[7];
  for (auto& each : sleepers) each = launch(zoo({"sleep"}));
  // A pipe of it that one of the sleepers has would stay open as long as that lives.
  Command command = zoo({"say", "x"});
  command.drainBudget = Milliseconds(kEnough);
  EXPECT_FALSE(run(command, in(40000)).timedOut);
  for (const auto& each : sleepers) EXPECT_TRUE(each->Kill(kSurely));
}

TEST(ManyLaunches, AtOnceFromManyThreads) {
  const NothingLeft nothing;
  std::vector<std::thread> threads(8);
  for (std::thread& thread : threads) thread = std::thread(launchEight);
  for (std::thread& thread : threads) thread.join();
}

std::atomic<int> failingKind{0};
std::atomic<int> callsLeft{0};
std::atomic<int> faultCode{0};

int failOne(Call call) {
  if (static_cast<int>(call) != failingKind || callsLeft.fetch_sub(1) != 1) return 0;
  return faultCode;
}

/// A clear error, or the right answer.
void runToItsEnd() {
  const RunResult result = run(zoo({"say", "x"}));
  const int code = result.error ? result.error->code : result.outError;
  EXPECT_TRUE(code == faultCode || result.out.text + result.ending.name() == "xexit code 0")
      << code << result.ending.name();
  EXPECT_NE(result.outError, EINTR);
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

TEST(Faults, EachCallFailingOnceLeavesNothing) {
  constexpr int kKinds = static_cast<int>(Call::QueryJob) + 1;
  constexpr int kMost = 12;  // of a kind; a look at all processes makes hundreds
  for (const auto scenario : {runToItsEnd, killItsTree}) {
    scenario();  // whatever is made once is made
    for (int i = 0; i < kKinds * static_cast<int>(kFaultCodes.size()); ++i) {
      failingKind = i % kKinds;
      faultCode = kFaultCodes[i / kKinds];
      callsLeft = 0;
      for (int n = 1; n <= kMost && callsLeft < 1; ++n) {
        const NothingLeft nothing;
        callsLeft = n;
        setCallFault(failOne);
        scenario();
        setCallFault(nullptr);
      }
      ASSERT_FALSE(HasFailure()) << "kind " << failingKind << ", code " << faultCode;
    }
  }
}

}  // namespace nkutil::test
