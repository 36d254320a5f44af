#include "zor/core/SystemTexts_win.h"

#include <gtest/gtest.h>

#include "log/Quoting.h"

namespace {

TEST(SystemTexts, TwoEscapedForms) {
  const struct {
    const wchar_t* text;
    const char* escaped;
    const char* logged;
  } cases[] = {
      {nullptr, "", "<nullptr>"},
      {L"\x7f\x1f\x80", "\\x007f\\x001f\\x0080", "\\x007f\\x001f\\x0080"},
      {L"\b\t\n\f\r", "\\x0008\\x0009\\x000a\\x000c\\x000d", "\\b\\t\\n\\f\\r"},
      {L"a\\b\"c", "a\\b\"c", "a\\\\b\\\"c"},
      {L"\xd83d\xde00", "\\xd83d\\xde00", "\\xd83d\\xde00"},
      {L"cut\0off", "cut", "cut"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ZOR::Core::EscapedAscii(c.text), c.escaped);
    EXPECT_EQ(quoteString(c.text), c.logged);
  }
  EXPECT_EQ(ZOR::Core::Utf8(L"\u263a"), "\xe2\x98\xba");
  EXPECT_EQ(ZOR::Core::Utf16("\xe2\x98\xba"), L"\u263a");
}

}  // namespace
