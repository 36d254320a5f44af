#include "log/Quoting.h"

#include <algorithm>
#include <cctype>
#include <type_traits>

namespace {

// The letter of a code's short form, or 0.
char shortForm(unsigned code) {
  switch (code) {
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    case '\\':
      return '\\';
    default:
      return 0;
  }
}

template <class Unit>
std::string quoteUnits(const Unit* text, unsigned digitPairs) {
  if (!text) return "<nullptr>";
  std::string out;
  for (; *text; ++text) {
    // Through the unsigned type: a plain char above 127 is negative.
    appendEscaped(out, static_cast<std::make_unsigned_t<Unit>>(*text), '"', digitPairs);
  }
  return out;
}

}  // namespace

void appendEscaped(std::string& out, unsigned code, char quote, unsigned digitPairs) {
  if (const char letter = shortForm(code)) {
    out += {'\\', letter};
  } else if (code == static_cast<unsigned char>(quote)) {
    out += {'\\', quote};
  } else if (code < 256 && (std::isgraph(static_cast<int>(code)) || code == ' ')) {
    out += static_cast<char>(code);
  } else {
    appendHexEscape(out, code, digitPairs);
  }
}

void appendHexEscape(std::string& out, unsigned code, unsigned digitPairs) {
  out += "\\x";
  for (unsigned shift = 8 * digitPairs; shift > 0;) {
    shift -= 4;
    out += "0123456789abcdef"[(code >> shift) & 0xF];
  }
}

std::string quoteString(const char* text) {
  return quoteUnits(text, 1);
}
std::string quoteString(const wchar_t* text) {
  return quoteUnits(text, 2);
}

std::string onOneLine(std::string text) {
  text.erase(text.find_last_not_of("\r\n") + 1);
  const auto isControl = [](unsigned char c) { return c < ' ' || c == 0x7F; };
  std::replace_if(text.begin(), text.end(), isControl, ' ');
  return text;
}
