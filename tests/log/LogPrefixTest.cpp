#include <gtest/gtest.h>

#include <vector>

#include "log/LogPrefix.h"
#include "tests/support/LogCapture.h"

TEST(LogPrefix, FieldsAndSeparators) {
  const auto prefixes = [](const std::vector<std::uint32_t>& masks) {
    std::string text;
    for (const std::uint32_t flags : masks) {
      text += formatLogPrefix({flags, 12, {2026, 11, 4, 7, 5, 3.1254}, 0.004, "1a2c"}) + "|";
    }
    return text;
  };
  EXPECT_EQ(prefixes({0x000, 0x001, 0x080, 0x100, 0x101}),
            "|00012 |(+00.004) |[1a2c] |00012[1a2c] |");
  EXPECT_EQ(prefixes({0x011, 0x021, 0x041}), "00012_07 |00012_05 |00012_03.125 |");
  EXPECT_EQ(prefixes({0x010, 0x050, 0x060}), "07 |07:03.125 |05:03.125 |");
  EXPECT_EQ(prefixes({0x002, 0x008, 0x00A, 0x00D}), "2026 |04 |2026/04 |00012_11/04 |");
  EXPECT_EQ(prefixes({0x012, 0x03E}), "2026_07 |2026/11/04_07:05 |");
  EXPECT_EQ(prefixes({kPrefixAll}), "00012_2026/11/04_07:05:03.125(+00.004)[1a2c] |");
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
  setClockOffset(offset);
  EXPECT_EQ(logger.text.substr(0, 32), "00000(+00.000) first\n00001(+12.5");
  EXPECT_EQ(logger.previousTime(), first);
  // One bit is never kept.
  logger.setFlags(0x3FF);
  EXPECT_EQ(logger.flags(), 0x1FFu);
  EXPECT_EQ(logger.setFlags(0), 0x1FFu);
}
