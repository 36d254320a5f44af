#include "WideText.h"

#include "Quoting.h"

std::string WideToEscapedAscii(const wchar_t* text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (; text && *text; ++text) {
    const unsigned unit = static_cast<char16_t>(*text);
    if (unit >= 32 && unit <= 126) {
      result += static_cast<char>(unit);
      continue;
    }
    result += "\\x";
    for (unsigned shift = 16; shift > 0; shift -= 4) result += kDigits[unit >> (shift - 4) & 15];
  }
  return result;
}

std::string WideToLogText(const wchar_t* text) {
  return quoteString(text);
}
