#include <gtest/gtest.h>

#include <thread>

#include "log/LogPrefix.h"
#include "tests/support/LogCapture.h"

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
