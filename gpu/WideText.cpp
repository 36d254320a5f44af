#include "WideText.h"

#include "Quoting.h"

std::string WideToEscapedAscii(const wchar_t* text) {
  std::string result;
  for (; text && *text; ++text) {
    const unsigned unit = static_cast<char16_t>(*text);
    if (unit >= 32 && unit <= 126)
      result += static_cast<char>(unit);
    else
      appendHexEscape(result, unit, 2);
  }
  return result;
}

std::string WideToLogText(const wchar_t* text) {
  return quoteString(text);
}
