#include "gpu/WideText.h"

#include <gtest/gtest.h>

namespace {

TEST(WideText, TwoForms) {
  const struct {
    const wchar_t* text;
    const char* escaped;
    const char* logged;
  } cases[] = {
      {nullptr, "", "<nullptr>"},
      {L"", "", ""},
      {L"Board X ~!", "Board X ~!", "Board X ~!"},
      {L"\u00c4\u263a", "\\x00c4\\x263a", "\\x00c4\\x263a"},
      {L"\x7f\x1f\x80\xff", "\\x007f\\x001f\\x0080\\x00ff", "\\x007f\\x001f\\x0080\\x00ff"},
      {L"\b\t\n\f\r", "\\x0008\\x0009\\x000a\\x000c\\x000d", "\\b\\t\\n\\f\\r"},
      {L"a\\b\"c", "a\\b\"c", "a\\\\b\\\"c"},
      {L"\xd83d\xde00", "\\xd83d\\xde00", "\\xd83d\\xde00"},
      {L"cut\0off", "cut", "cut"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WideToEscapedAscii(c.text), c.escaped);
    EXPECT_EQ(WideToLogText(c.text), c.logged);
  }
}

}  // namespace
