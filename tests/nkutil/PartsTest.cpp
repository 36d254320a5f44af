#include <gtest/gtest.h>

#include "nkutil/ScriptedLauncher.h"
#include "nkutil/StateLog.h"

namespace nkutil::test {

Time at(int ms) {
  return Time{} + Milliseconds(ms);
}

TEST(Buffer, LinesOverPiecesAndDrops) {
  using Texts = std::vector<std::string>;
  struct Row {
    std::size_t cap;
    Texts pieces;
    Texts lines;
  };
  for (const Row& row :
       {Row{100, {"a\nb", "c\r", "\n\n", "d"}, {"a|", "bc\r|", "|", "d"}},
        Row{8, {"abcd1234"}, {"abcd1234"}}, Row{8, {"abcd1234xy\nz"}, {"abcd", "[4]xy|", "z"}},
        Row{8, {"a\nb\n", "11\n", "22\n", "33\n"}, {"a|", "b|", "[5]|", "33|"}},
        Row{8, {"abcdefgh", "ijklmnop"}, {"abcd", "[8]mnop"}}, Row{2, {"abc"}, {"a", "[1]c"}}}) {
    Buffer buffer(row.cap);
    for (const std::string& piece : row.pieces) buffer.append(piece, at(0));
    Buffer moved(row.cap);
    buffer.moveTo(moved);
    Texts got;
    for (Line line; moved.takeLine(line) || moved.takeRest(line);)
      got.push_back((line.droppedBefore ? "[" + std::to_string(line.droppedBefore) + "]" : "") +
                    line.text + (line.ended ? "|" : ""));
    EXPECT_EQ(got, row.lines) << row.pieces[0];
  }
}

TEST(Channel, LinesInTheOrderOfTheirEnds) {
  Channel channel(100, 100);
  channel.push(Stream::Out, "1", at(1));
  channel.push(Stream::Out, "\n3\n", at(10));
  channel.push(Stream::Err, "2\n4\nrest", at(15));
  channel.push(Stream::Out, "5\n", at(20));
  channel.close(Stream::Err);
  std::string seen;
  Line line;
  while (channel.next(line, Time::min()) == Channel::Taken::Line) seen += line.text + " ";
  EXPECT_EQ(seen, "1 3 2 4 5 rest ");
  EXPECT_EQ(channel.next(line, Clock::now() + Milliseconds(5)), Channel::Taken::Timeout);
  channel.close(Stream::Out);
  EXPECT_EQ(channel.next(line, kForever), Channel::Taken::Closed);
}

TEST(StateLog, OnlyForwardAndRunningByItself) {
  StateLog log(at(0));
  log.enter(AppState::Launched, at(10));
  log.settle(at(59));
  EXPECT_EQ(log.current(), AppState::Launched);
  log.enter(AppState::Killing, at(100));
  EXPECT_EQ(log.entered(AppState::Running), at(60));
  log.enter(AppState::Finishing, at(110));
  EXPECT_TRUE(log.missed(AppState::Finishing));
  EXPECT_FALSE(log.missed(AppState::Crashed));
  log.enter(AppState::Crashed, at(120));
  log.enter(AppState::Finished, at(130));
  EXPECT_EQ(log.current(), AppState::Crashed);
  EXPECT_TRUE(log.missed(AppState::Finished));

  StateLog quick(at(0));
  quick.enter(AppState::Running, at(1));
  EXPECT_EQ(quick.current(), AppState::Launching);
  quick.enter(AppState::Launched, at(5));
  EXPECT_EQ(quick.entered(AppState::Running), at(5));
}

TEST(ScriptedLauncher, PlaysEverySortOfProgramInNoTime) {
  using namespace std::chrono_literals;
  Script good;
  good.output = {{10ms, Stream::Out, "a\nb"}, {90ms, Stream::Out, "c\n"}};
  good.endsAt = 100ms;
  Script held = good;
  held.heldOpen = true;
  Script crash = good;
  crash.ending = {Ending::Kind::Signalled, 11};
  Script hung;
  hung.output = {{10ms, Stream::Out, "a\n"}};
  Script stuck = hung;
  stuck.stuck = true;
  Script missing;
  missing.error = LaunchError{"find the program", 2, "No such file", "probe"};
  ScriptedLauncher launcher({good, held, crash, hung, stuck, missing});
  using Row = std::tuple<const char*, const char*, Milliseconds, bool>;
  for (const auto& [text, ending, takes, isStuck] :
       {Row("a\nbc\n", "exit code 0", 100ms, false), Row("a\nbc\n", "exit code 0", 300ms, false),
        Row("a\nbc\n", "SIGSEGV", 100ms, false), Row("a\n", "SIGKILL", 60001ms, false),
        Row("a\n", "unknown", 60100ms, true)}) {
    const Time begin = launcher.now();
    const RunResult result = nkutil::Run(launcher, {}, begin + 60s);
    EXPECT_EQ(result.out.text, text);
    EXPECT_EQ(result.ending.name(), ending);
    EXPECT_EQ(launcher.now() - begin, takes);
    EXPECT_EQ(result.timedOut, takes > 60s);
    EXPECT_EQ(result.stuck, isStuck);
    EXPECT_EQ(result.entered[static_cast<int>(AppState::Running)], begin + 10ms);
  }
  for (const char* part : {"cannot start probe: find the program: No such file (2)", "no script"})
    EXPECT_NE(nkutil::Run(launcher, {}, kForever).error->message().find(part), std::string::npos);
  EXPECT_EQ(launcher.commands().size(), 7U);
}

}  // namespace nkutil::test
