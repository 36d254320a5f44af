#include <gtest/gtest.h>

#include "Support.h"
#include "nkutil/CommandLine.h"
#include "nkutil/StateLog.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

Time at(int ms) {
  return Time{} + milliseconds(ms);
}

std::vector<std::string> linesOf(Buffer& buffer) {
  std::vector<std::string> all;
  Line line;
  while (buffer.takeLine(line) || buffer.takeRest(line))
    all.push_back((line.droppedBefore ? "[" + std::to_string(line.droppedBefore) + "]" : "") +
                  line.text + (line.ended ? "|" : ""));
  return all;
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
    EXPECT_EQ(linesOf(moved), row.lines) << row.pieces[0];
  }
}

TEST(Buffer, KeepsTheEndsAndCounts) {
  Buffer buffer(1 << 20);
  for (int i = 0; i < 64; ++i)
    buffer.append(std::string(100000, static_cast<char>('0' + i)), at(0));
  const Buffer::Bytes all = buffer.takeBytes();
  EXPECT_EQ(all.text.size(), std::size_t{1} << 20);
  EXPECT_EQ(all.dropped, 6400000U - (1U << 20));
  EXPECT_EQ(all.gap, std::size_t{1} << 19);
  EXPECT_EQ(all.text.front(), '0');
  EXPECT_EQ(all.text.back(), '0' + 63);
}

TEST(Buffer, TimesAreThoseOfTheLineEnds) {
  Buffer buffer(100);
  buffer.append("a", at(10));
  buffer.append("b\nc", at(20));
  buffer.append("d\n", at(30));
  EXPECT_EQ(buffer.nextLineTime(), at(20));
  Line line;
  EXPECT_TRUE(buffer.takeLine(line));
  EXPECT_EQ(line.time, at(20));
  EXPECT_TRUE(buffer.takeLine(line));
  EXPECT_EQ(line.time, at(30));
  EXPECT_EQ(buffer.nextLineTime(), kForever);
}

TEST(Channel, StreamsInTheOrderOfTheirTimes) {
  Channel channel(100, 100);
  channel.push(Stream::Out, "1\n3\n", at(10));
  channel.push(Stream::Err, "2\nrest", at(5));
  channel.close(Stream::Err);
  std::string seen;
  Line line;
  while (channel.next(line, Time::min()) == Channel::Taken::Line) seen += line.text + " ";
  EXPECT_EQ(seen, "2 1 3 rest ");
  EXPECT_EQ(channel.next(line, Clock::now() + milliseconds(5)), Channel::Taken::Timeout);
  channel.close(Stream::Out);
  EXPECT_EQ(channel.next(line, kForever), Channel::Taken::Closed);
}

TEST(StateLog, OnlyForwardAndRunningByItself) {
  StateLog log(at(0));
  log.enter(AppState::Launched, at(10));
  EXPECT_EQ(log.runningDue(), at(60));
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

TEST(Names, OfEndsAndErrors) {
  using Kind = Ending::Kind;
  const std::vector<std::pair<Ending, std::string>> names = {
      {{Kind::Exited, 139}, "exit code 139"},
      {{Kind::Signalled, 11}, "SIGSEGV"},
      {{Kind::Signalled, 34}, "signal 34"},
      {{Kind::Exception, 0xC0000005}, "0xC0000005 access violation"},
      {{Kind::Exception, 0xC0001234}, "0xC0001234"},
      {{}, "unknown"}};
  for (const auto& [ending, name] : names) EXPECT_EQ(ending.name(), name);
  EXPECT_EQ((LaunchError{"execve", 13, "Permission denied", "/opt/x"}).message(),
            "cannot start /opt/x: execve: Permission denied (13)");
}

TEST(CommandLine, QuotesWhatNeedsIt) {
  EXPECT_EQ(
      windowsCommandLine("C:\\a b\\c.exe", {"plain", "", "two words", "a\\", "a b\\", "\\\""}),
      R"("C:\a b\c.exe" plain "" "two words" a\ "a b\\" "\\\"")");
}

}  // namespace

}  // namespace nkutil::test
