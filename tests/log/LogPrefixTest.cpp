#include <gtest/gtest.h>

#include <thread>

#include "log/LogPrefix.h"
#include "tests/support/LogCapture.h"

TEST(LogPrefix, FieldsAndSeparators) {
  const std::pair<std::uint32_t, const char*> cases[] = {
      {0x000, ""},
      {0x001, "00012 "},
      {0x080, "(+00.004) "},
      {0x100, "[1a2c] "},
      {0x101, "00012[1a2c] "},
      {0x011, "00012_07 "},
      {0x021, "00012_05 "},
      {0x041, "00012_03.125 "},
      {0x050, "07:03.125 "},
      {0x060, "05:03.125 "},
      {0x002, "2026 "},
      {0x008, "04 "},
      {0x00A, "2026/04 "},
      {0x00D, "00012_11/04 "},
      {0x012, "2026_07 "},
      {kPrefixAll, "00012_2026/11/04_07:05:03.125(+00.004)[1a2c] "}};
  for (const auto& [flags, text] : cases)
    EXPECT_EQ(formatLogPrefix({flags, 12, {2026, 11, 4, 7, 5, 3.1254}, 0.004, "1a2c"}), text);
  EXPECT_EQ(formatLogPrefix({0x081, 1234567, {}, -123.4567, ""}), "1234567(-123.457) ");
}

TEST(LogPrefix, LoggerCountsAndTimesItsMessages) {
  LogCapture logger;
  logger.setFlags(kPrefixCount | kPrefixElapsed);
  const double offset = setClockOffset(100);
  logger.log("f", 1, "first");
  const double first = logger.currentTime();
  setClockOffset(112.5);
  logger.log("f", 2, "second");
  EXPECT_EQ(setClockOffset(offset), 112.5);
  EXPECT_EQ(logger.text.substr(0, 32), "00000(+00.000) first\n00001(+12.5");
  EXPECT_EQ(logger.previousTime(), first);
  // One bit is never kept.
  logger.setFlags(0x3FF);
  EXPECT_EQ(logger.setFlags(0), 0x1FFu);
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
