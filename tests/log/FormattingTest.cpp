#include <gtest/gtest.h>

#include <ctime>
#include <memory>

#include "log/Clock.h"
#include "log/Fmt.h"
#include "log/Quoting.h"

TEST(Formatting, PrintfAndQuoting) {
  for (const std::size_t length : {0u, 1u, 254u, 255u, 256u, 257u, 1000000u}) {
    const std::string text(length, 'x');
    EXPECT_EQ(stringPrintf("%s", text.c_str()), text) << length;
  }
  EXPECT_EQ(stringPrintf("%d %s %.2f%%", -5, "a", 1.005), "-5 a 1.00%");
  std::string out = quoteString("\b\t\n\f\r\\ \"'\a\v\x1f~\x7f\xE9");
  appendEscaped(out, 0x1FF, '"', 1);
  appendEscaped(out, '\'', '\'', 1);
  EXPECT_EQ(out, "\\b\\t\\n\\f\\r\\\\ \\\"'\\x07\\x0b\\x1f~\\x7f\\xe9\\xff\\'");
}

TEST(Fmt, DefaultPolicy) {
  const auto twice = [](std::string& out, char value, char) { out += {value, value}; };
  const std::pair<std::string, const char*> cases[] = {
      {fmt(true) + fmt(false, "no\0yes"), "trueno"},
      {fmt('\n') + fmt('\'') + fmt('"') + fmt('\xE9') + fmt('x', twice), R"('\n''\'''"''\xe9'xx)"},
      {fmt(static_cast<short>(-300)) + fmt(-7L) + fmt(1LL << 40), "-300-71099511627776"},
      {fmt(static_cast<unsigned char>(255)) + fmt(7u) + fmt(1uLL),
       "0xff0x000000070x0000000000000001"},
      {fmt(3.14159) + fmt("a\"b") + fmt(static_cast<const char*>(nullptr)),
       R"(3.14"a\"b"<nullptr>)"},
      {fmt(reinterpret_cast<void*>(0x12AB)), "0x00000000000012ab"},
      {fmtFourCharCode(0x52474241) + fmtFourCharCode(0x41424301), "'RGBA'0x41424301"},
      // Half of a wider long is dropped; where long has 4 bytes there is nothing to drop.
      {fmt(static_cast<unsigned long>(0x1FFFFFFFFuLL)), "0xffffffff"},
      {hexadecimalFormat(4, "") + hexadecimalFormat(8, "ll"), "0x%08x0x%016llx"},
      {paddedDecimalFormat(1, "") + paddedDecimalFormat(4, "l"), "%4d%11ld"}};
  for (const auto& [text, wanted] : cases) EXPECT_EQ(text, wanted);
}

TEST(Fmt, NewestPolicyIsCurrent) {
  struct Policy : Fmt {
    explicit Policy(const char* format) : Fmt(Fmt::current()) { fFormats.fInt = format; }
    void renderDouble(std::string& out, double, const char*) const override { out += "double"; }
  };
  const Policy oldest("<%d>");
  {
    auto middle = std::make_unique<Policy>("[%d]");
    const Policy newest("{%d}");
    middle.reset();
    EXPECT_EQ(fmt(1) + fmt(2.0) + Fmt::defaultPolicy().text(1), "{1}double1");
  }
  EXPECT_EQ(fmt(1), "<1>");
}

TEST(Clock, AgreesWithTheSystem) {
  const std::time_t now = std::time(nullptr);
  char text[40];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S.000", std::localtime(&now));
  EXPECT_EQ(formatTimeStamp(localTimeOfUtc(std::int64_t{now} * 1000000)), text);
  EXPECT_NEAR(nowSeconds() - epochClockSeconds(), static_cast<double>(now), 2.0);
}
