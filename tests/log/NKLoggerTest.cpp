#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <thread>

#include "log/LogPrefix.h"
#include "log/Loggers.h"
#include "log/NKLogger.h"
#include "tests/support/LogCapture.h"

TEST(NKLogger, MessagesAndLineEnds) {
  const std::pair<std::string, std::string> cases[] = {
      {"text", "text\n"}, {"text\n", "text\n"}, {"text\r", "text\r"},
      {"", "\n"},         {"%d%s", "%d%s\n"},
  };
  for (const auto& [body, written] : cases) {
    LogCapture logger;
    logger.log("f", 1, "%s", body.c_str());
    EXPECT_EQ(logger.text, written);
    EXPECT_EQ(logger.flushes, 1);
  }
}

TEST(NKLogger, BaseName) {
  const LogCapture logger;
  EXPECT_EQ(logger.baseName(nullptr), "");
  EXPECT_EQ(logger.baseName("C:\\x\\y.cpp"), "y.cpp");
  EXPECT_EQ(logger.baseName("a/b\\c"), "c");
  EXPECT_EQ(logger.baseName("dir/"), "dir/");
  EXPECT_EQ(logger.baseName("a/dir/"), "dir/");
}

TEST(NKLogger, StreamsNamesAndMark) {
  EXPECT_EQ(SnifferLogger().name(), "stdout");
  EXPECT_EQ(NKStdioLogger(stderr).name(), "stderr");
  std::FILE* stream = std::tmpfile();
  ASSERT_NE(stream, nullptr);
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
  auto bottom = std::make_unique<LogCapture>("bottom");
  auto middle = std::make_unique<LogCapture>("middle");
  auto top = std::make_unique<LogCapture>("top");
  EXPECT_EQ(bottom->text, "Activating new logger middle\n");
  EXPECT_EQ(middle->text, "Activating new logger top\n");
  EXPECT_EQ(currentLogger().get(), top.get());
  EXPECT_EQ(top->previous().get(), middle.get());
  middle.reset();
  EXPECT_EQ(currentLogger().get(), top.get());
  EXPECT_EQ(top->previous().get(), bottom.get());
  top.reset();
  EXPECT_EQ(currentLogger().get(), bottom.get());
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

TEST(SingleLineLogger, JoinsItsMessages) {
  LogCapture beneath;
  beneath.setFlags(kPrefixCount);
  {
    SingleLineLogger joined;
    EXPECT_EQ(joined.name(), "SingleLineLogger");
    for (const char* text : {"a", "b", "c"}) joined.log("f", 1, "%s", text);
  }
  { const SingleLineLogger unused("unused"); }
  EXPECT_EQ(beneath.text,
            "00000 Activating new logger SingleLineLogger\n00001 a b c\n"
            "00001 Activating new logger unused\n");
}

TEST(LogScope, IndentsBetweenBeginAndEnd) {
  LogCapture logger;
  {
    const LogScope outer("outer", "f", 1);
    logger.log("f", 2, "one");
    const LogScope inner("inner %s", "f", 3);
    logger.log("f", 4, "two");
  }
  logger.log("f", 5, "after");
  const std::string shape =
      std::regex_replace(logger.text, std::regex("duration=[-+.e0-9]+\n"), "duration=S\n");
  EXPECT_EQ(shape,
            "BEGIN outer\n one\n BEGIN inner %s\n  two\n END inner %s, duration=S\n"
            "END outer, duration=S\nafter\n");
}

TEST(LogScope, InactiveLoggerIsIndentedToo) {
  LogCapture logger;
  logger.active = false;
  const LogScope scope("quiet", "f", 1);
  logger.log("f", 1, "inside");
  EXPECT_EQ(logger.text, " inside\n");
}
