#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <thread>

#include "log/Diagnostic.h"
#include "log/LogPrefix.h"
#include "log/Loggers.h"
#include "log/ReportFailure.h"
#include "tests/support/LogCapture.h"

namespace {

struct Unprintable {};
std::ostream& operator<<(std::ostream&, const Unprintable&) {
  throw std::runtime_error("no");
}

std::string reported;

TEST(LogChannel, TableFillsAndThenRefuses) {
  ChannelTable table(2);
  std::string indexes;
  for (const char* name : {"b", "a", "b", "c", "a"})
    indexes += std::to_string(table.indexOf(name, *name == 'a' ? 0xFFFFFFFF : 7));
  EXPECT_EQ(indexes, "12102");
  EXPECT_EQ(std::vector<int>(table.levels(), table.levels() + 3), (std::vector<int>{0, 7, -1}));
}

TEST(LogChannel, RecordsOfOneNameShareOneLevel) {
  static LogChannel first{"LogChannelTest", 3}, second{"LogChannelTest", 8};
  std::thread([] { EXPECT_EQ(channelLevel(first), 3); }).join();
  EXPECT_EQ(first.index, registerChannel("LogChannelTest", 1));
  channelLevel(second) = 5;
  EXPECT_EQ(channelLevel(first), 5);
  initLogging(1);
  EXPECT_EQ(channelLevel(first), 5);
  channelLevel(first) = 3;
}

TEST(Diagnostic, WritesOnlyWhenOnAndNeverThrows) {
  LogCapture logger;
  int& level = channelLevel(gpuSnifferChannel);
  level = 0;
  Diagnostic{}("silent", Unprintable());
  level = 1;
  Diagnostic{}("index=", 3, " 100%s ", 0.5, ' ', true);
  Diagnostic{}("lost", Unprintable());
  // Whatever a driver says is one line, and not the end of the file either.
  Diagnostic{}("a\r\nb\n\vc\x1A", std::string("d\0e", 3), "\xC3\xA4\x7F");
  for (const char* end : {"\r", "\n", "\r\n", "\n\r"}) Diagnostic{}("end", end);
  EXPECT_EQ(logger.text, "index=3 100%s 0.5 1\na  b  c d e\xC3\xA4 \nend\nend\nend\nend\n");
}

TEST(ReportFailure, TextsAndThrow) {
  const ReportSink sink = reportSink;
  reportSink = [](const std::string& text) { reported += text + '\n'; };
  const std::string marker = "<NULL>";  // known by its text, not by its address
  ReportFailure("a.cpp", 12, "broken", false);
  ReportFailure(nullptr, 12, "no place", false);
  ReportFailure(marker.c_str(), 12, "marked", false);
  ReportFailure("", 12, nullptr, false);
  EXPECT_THROW(FailRequirement("Failed requirement: x"), std::runtime_error);
  EXPECT_EQ(reported, "a.cpp(12): broken\nno place\nmarked\n(12): <NULL>\nFailed requirement: x\n");
  reportSink = sink;
}

TEST(LogPrefix, FieldsAndSeparators) {
  std::string text;
  for (const std::uint32_t flags : {0x000u, 0x001u, 0x080u, 0x100u, 0x101u, 0x011u, 0x021u, 0x041u,
                                    0x050u, 0x060u, 0x002u, 0x008u, 0x00Au, 0x00Du, 0x012u, 0x1FFu})
    text += formatLogPrefix({flags, 12, {2026, 11, 4, 7, 5, 3.1254}, 0.004, "1a2c"}) + "|";
  EXPECT_EQ(text,
            "|00012 |(+00.004) |[1a2c] |00012[1a2c] |00012_07 |00012_05 |00012_03.125 |07:03.125 |"
            "05:03.125 |2026 |04 |2026/04 |00012_11/04 |2026_07 |"
            "00012_2026/11/04_07:05:03.125(+00.004)[1a2c] |");
  EXPECT_EQ(formatLogPrefix({0x081, 1234567, {}, -123.4567, ""}), "1234567(-123.457) ");
}

TEST(LogPrefix, LoggerCountsAndTimesItsMessages) {
  LogCapture logger;
  logger.setFlags(kPrefixCount | kPrefixElapsed);
  const double offset = setClockOffset(100);
  logger.log("f", 1, "first");
  setClockOffset(112.5);
  logger.log("f", 2, "second");
  EXPECT_EQ(setClockOffset(offset), 112.5);
  EXPECT_EQ(logger.text.substr(0, 32), "00000(+00.000) first\n00001(+12.5");
}

TEST(ThreadName, RegisteredNameOrId) {
  EXPECT_EQ(threadIdText(0) + threadIdText(0x1A2C), "{Not-any-thread}1a2c");
  std::thread([] {
    EXPECT_EQ(threadName().find_first_not_of("0123456789abcdef"), std::string::npos);
    setThreadName("worker with a long name");
    setThreadName("worker");
    EXPECT_EQ(threadName(), "worker");
  }).join();
  EXPECT_NE(threadName(), "worker");
}

TEST(NKLogger, LineEndsAndBaseNames) {
  LogCapture logger;
  for (const char* body : {"text", "text\n", "text\r", "", "%d%s"}) logger.log("f", 1, "%s", body);
  EXPECT_EQ(logger.text, "text\ntext\ntext\r\n%d%s\n");
  EXPECT_EQ(logger.flushes, 5);
  std::string names;
  for (const char* path : {"C:\\x\\y.cpp", "a/b\\c", "dir/", "a/dir/"})
    names += logger.baseName(path) + ' ';
  EXPECT_EQ(names + logger.baseName(nullptr), "y.cpp c dir/ dir/ ");
}

TEST(NKLogger, StreamsNamesAndMark) {
  EXPECT_EQ(SnifferLogger().name() + NKStdioLogger(stderr).name(), "stdoutstderr");
  testing::internal::CaptureStdout();
  {
    SnifferLogger logger;
    logger.setFlags(0);
    logger.log("f", 1, "line");
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "# line\n");
}

TEST(LoggerStack, NewestIsCurrentInAnyOrderOfDestruction) {
  LogCapture bottom("bottom");
  auto middle = std::make_unique<LogCapture>("middle");
  auto top = std::make_unique<LogCapture>("top");
  EXPECT_EQ(bottom.text + middle->text,
            "Activating new logger middle\nActivating new logger top\n");
  EXPECT_EQ(top->previous().get(), middle.get());
  middle.reset();
  EXPECT_EQ(currentLogger().get(), top.get());
  EXPECT_EQ(top->previous().get(), &bottom);
  top.reset();
  EXPECT_EQ(currentLogger().get(), &bottom);
}

TEST(LoggerStack, LockHoldsOnlyActiveLoggers) {
  LogCapture logger;
  NKLoggerLock()->log("f", 1, "kept");
  NKNullLogger silent;
  silent.log("f", 1, "dropped");
  const NKLoggerLock lock;
  EXPECT_FALSE(lock);
  EXPECT_THROW(lock->flush(), std::runtime_error);
  // The emptied lock must not keep others out.
  std::thread([&] { logger.log("f", 1, "other thread"); }).join();
  EXPECT_EQ(logger.text, "kept\nActivating new logger NKNullLogger\nother thread\n");
}

// A scope's indentation comes from a logger that is silent, too.
TEST(LogScope, JoinsAndIndents) {
  LogCapture logger;
  {
    SingleLineLogger joined;
    for (const char* text : {"a", "b", "c"}) joined.log("f", 1, "%s", text);
  }
  {
    const LogScope outer("outer", "f", 1);
    logger.log("f", 2, "one");
    logger.active = false;
    const LogScope inner("inner %s", "f", 3);
    logger.active = true;
    logger.log("f", 4, "two");
  }
  logger.log("f", 5, "after");
  EXPECT_EQ(std::regex_replace(logger.text, std::regex("duration=[-+.e0-9]+\n"), "duration=S\n"),
            "Activating new logger SingleLineLogger\na b c\n"
            "BEGIN outer\n one\n  two\n END inner %s, duration=S\nEND outer, duration=S\nafter\n");
}

}  // namespace
