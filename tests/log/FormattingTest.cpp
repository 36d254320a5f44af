#include <gtest/gtest.h>

#include <ctime>
#include <memory>
#include <thread>
#include <vector>

#include "log/Clock.h"
#include "log/Fmt.h"
#include "log/LogPrefix.h"
#include "log/Quoting.h"

namespace {

std::string list(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : " ") + text;
  return joined;
}

}  // namespace

TEST(StringPrintf, LengthsAroundTheBuffer) {
  for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 257u, 1000000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(stringPrintf("%s", text.c_str()), text) << length;
  }
  EXPECT_EQ(stringPrintf("%d %s %.2f%%", -5, "a", 1.005), "-5 a 1.00%");
}

TEST(Quoting, EscapesWhatIsNotPrintable) {
  EXPECT_EQ(quoteString("\b\t\n\f\r\\ \"'\a\v\x1f~\x7f\xE9"),
            "\\b\\t\\n\\f\\r\\\\ \\\"'\\x07\\x0b\\x1f~\\x7f\\xe9");
  std::string out = "kept";
  appendEscaped(out, 0x1FF, '"', 1);
  appendEscaped(out, '\'', '\'', 1);
  EXPECT_EQ(out, "kept\\xff\\'");
}

TEST(Fmt, DefaultPolicy) {
  const auto twice = [](std::string& out, char value, char) { out += {value, value}; };
  EXPECT_EQ(list({fmt(true), fmt(false, "no\0yes")}), "true no");
  EXPECT_EQ(list({fmt('\n'), fmt('\''), fmt('"'), fmt('\xE9'), fmt('x', twice)}),
            R"('\n' '\'' '"' '\xe9' xx)");
  EXPECT_EQ(list({fmt(static_cast<short>(-300)), fmt(-7L), fmt(1LL << 40)}),
            "-300 -7 1099511627776");
  EXPECT_EQ(list({fmt(static_cast<unsigned char>(255)), fmt(7u), fmt(1uLL)}),
            "0xff 0x00000007 0x0000000000000001");
  EXPECT_EQ(list({fmt(3.14159), fmt("a\"b"), fmt(static_cast<const char*>(nullptr))}),
            R"(3.14 "a\"b" <nullptr>)");
  EXPECT_EQ(fmt(reinterpret_cast<void*>(0x12AB)), "0x00000000000012ab");
  EXPECT_EQ(list({fmtFourCharCode(0x52474241), fmtFourCharCode(0x41424301)}), "'RGBA' 0x41424301");
  // Half of a wider long is dropped; where long has 4 bytes there is nothing to drop.
  EXPECT_EQ(fmt(static_cast<unsigned long>(0x1FFFFFFFFuLL)), "0xffffffff");
}

TEST(Fmt, FormatBuilders) {
  EXPECT_EQ(list({hexadecimalFormat(4, ""), hexadecimalFormat(8, "ll")}), "0x%08x 0x%016llx");
  EXPECT_EQ(list({paddedDecimalFormat(1, ""), paddedDecimalFormat(2, "h"),
                  paddedDecimalFormat(4, "l"), paddedDecimalFormat(8, "ll")}),
            "%4d %6hd %11ld %20lld");
}

TEST(Fmt, NewestPolicyIsCurrent) {
  struct Policy : Fmt {
    explicit Policy(const char* format) : Fmt(Fmt::current()) { fFormats.fInt = format; }
    void renderDouble(std::string& out, double, const char*) const override { out += "double"; }
  };
  auto oldest = std::make_unique<Policy>("<%d>");
  auto middle = std::make_unique<Policy>("[%d]");
  auto newest = std::make_unique<Policy>("{%d}");
  EXPECT_EQ(fmt(1) + fmt(2.0), "{1}double");
  EXPECT_EQ(Fmt::defaultPolicy().text(1), "1");
  middle.reset();
  EXPECT_EQ(fmt(1), "{1}");
  newest.reset();
  EXPECT_EQ(fmt(1), "<1>");
  static_cast<Fmt&>(*oldest) = Fmt::defaultPolicy();
  EXPECT_EQ(fmt(1) + fmt(2.0), "1double");
  oldest.reset();
  EXPECT_EQ(&Fmt::current(), &Fmt::defaultPolicy());
}

TEST(Clock, AgreesWithTheSystem) {
  EXPECT_EQ(formatTimeStamp({2026, 1, 4, 7, 5, 3.125}), "2026-01-04 07:05:03.125");
  const std::time_t now = std::time(nullptr);
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S.000", std::localtime(&now));
  EXPECT_EQ(formatTimeStamp(localTimeOfUtc(std::int64_t{now} * 1000000)), text);
  EXPECT_NEAR(nowSeconds() - epochClockSeconds(), static_cast<double>(now), 2.0);
}

TEST(Clock, OffsetMovesTheClock) {
  const double old = setClockOffset(1000);
  const double now = nowSeconds();
  EXPECT_EQ(setClockOffset(old), 1000);
  EXPECT_NEAR(now - nowSeconds(), 1000 - old, 1.0);
}

TEST(ThreadName, RegisteredNameOrId) {
  EXPECT_EQ(threadIdText(0), "{Not-any-thread}");
  EXPECT_EQ(threadIdText(0x1A2C), "1a2c");
  std::thread([] {
    EXPECT_EQ(threadName().find_first_not_of("0123456789abcdef"), std::string::npos);
    setThreadName("worker with a long name");
    setThreadName("worker");
    EXPECT_EQ(threadName(), "worker");
  }).join();
  EXPECT_NE(threadName(), "worker");
}
