#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <thread>

#include "log/Loggers.h"
#include "tests/support/LogCapture.h"

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
  std::FILE* stream = std::tmpfile();
  SnifferLogger logger(stream);
  EXPECT_EQ(logger.name(), "FILE*");
  logger.setFlags(0);
  logger.log("f", 1, "line");
  std::rewind(stream);
  char text[64] = {};
  EXPECT_STREQ(std::fgets(text, sizeof text, stream), "# line\n");
  std::fclose(stream);
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
  { const SingleLineLogger unused("unused"); }
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
            "Activating new logger SingleLineLogger\na b c\nActivating new logger unused\n"
            "BEGIN outer\n one\n  two\n END inner %s, duration=S\nEND outer, duration=S\nafter\n");
}
