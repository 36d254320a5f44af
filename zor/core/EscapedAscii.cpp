#include "zor/core/EscapedAscii.h"

namespace ZOR::Core {

std::string EscapedAscii(const wchar_t* text) {
  std::string result;
  for (; text && *text; ++text) {
    const unsigned unit = static_cast<char16_t>(*text);
    if (unit >= 32 && unit <= 126) {
      result += static_cast<char>(unit);
      continue;
    }
    result += "\\x";
    for (int shift = 12; shift >= 0; shift -= 4) result += "0123456789abcdef"[unit >> shift & 15];
  }
  return result;
}

}  // namespace ZOR::Core
