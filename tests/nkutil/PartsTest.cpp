#include <gtest/gtest.h>

#include "nkutil/ScriptedLauncher.h"

namespace nkutil::test {

TEST(Buffer, LinesOverPiecesAndDrops) {
  using Texts = std::vector<std::string>;
  using Row = std::tuple<std::size_t, Texts, Texts>;
  for (const auto& [cap, pieces, lines] :
       {Row{100, {"a\nb", "c\r", "\n\n", "d"}, {"a|", "bc\r|", "|", "d"}},
        Row{8, {"abcd1234"}, {"abcd1234"}}, Row{8, {"abcd1234xy\nz"}, {"abcd", "[4]xy|", "z"}},
        Row{8, {"a\nb\n", "11\n", "22\n", "33\n"}, {"a|", "b|", "[5]|", "33|"}},
        Row{8, {"abcdefgh", "ijklmnop"}, {"abcd", "[8]mnop"}}, Row{2, {"abc"}, {"a", "[1]c"}}}) {
    Buffer buffer(cap);
    for (const std::string& piece : pieces) buffer.append(piece, Time{});
    Buffer moved(cap);
    buffer.moveTo(moved);
    Texts got;
    for (Line line; moved.takeLine(line) || moved.takeRest(line);)
      got.push_back((line.droppedBefore ? "[" + std::to_string(line.droppedBefore) + "]" : "") +
                    line.text + (line.ended ? "|" : ""));
    EXPECT_EQ(got, lines) << pieces[0];
  }
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
  ScriptedLauncher launcher({good, held, held, crash, hung, stuck, missing});
  using Row = std::tuple<const char*, const char*, Milliseconds, Milliseconds>;
  for (const auto& [text, ending, deadline, takes] :
       {Row("a\nbc\n", "exit code 0", 60s, 100ms), Row("a\nbc\n", "exit code 0", 60s, 300ms),
        Row("a\nbc\n", "exit code 0", 299ms, 300ms),  // the deadline cuts the drain short
        Row("a\nbc\n", "SIGSEGV", 60s, 100ms), Row("a\n", "SIGKILL", 60s, 60001ms),
        Row("a\n", "unknown", 60s, 60100ms)}) {
    const Time begin = launcher.now();
    const RunResult result = nkutil::Run(launcher, {}, begin + deadline);
    EXPECT_EQ(result.out.text, text);
    EXPECT_EQ(result.ending.name(), ending);
    EXPECT_EQ(launcher.now() - begin, takes);
    EXPECT_EQ(result.timedOut, takes > 60s);
    EXPECT_EQ(result.stuck, takes == 60100ms);
    EXPECT_EQ(result.entered[static_cast<int>(AppState::Running)], begin + 10ms);
  }
  for (const char* part : {"cannot start probe: find the program: No such file (2)", "no script"})
    EXPECT_NE(nkutil::Run(launcher, {}, kForever).error->message().find(part), std::string::npos);
  EXPECT_EQ(launcher.commands().size(), 8U);
}

TEST(Channel, LinesInTheOrderOfTheirEnds) {
  using namespace std::chrono_literals;
  Script both;
  both.output = {{1ms, Stream::Out, "1"},
                 {10ms, Stream::Out, "\n3\n"},
                 {15ms, Stream::Err, "2\n4\nrest"},
                 {20ms, Stream::Out, "5\n"}};
  both.endsAt = 30ms;
  ScriptedLauncher launcher({both});
  LaunchError error;
  const auto app = launcher.launch({}, kForever, error);
  Line line;
  EXPECT_EQ(app->nextLine(line, launcher.now() + 5ms), Channel::Taken::Timeout);
  EXPECT_TRUE(app->waitForEnd(kForever));
  std::string seen;
  while (app->nextLine(line, kForever) == Channel::Taken::Line) seen += line.text + " ";
  EXPECT_EQ(seen, "1 3 2 4 5 rest ");
}

}  // namespace nkutil::test
