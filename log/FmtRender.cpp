#include <cctype>
#include <cstring>

#include "Fmt.h"
#include "Quoting.h"
#include "StringPrintf.h"

namespace {

template <class T>
void appendPrintf(std::string& out, const char* format, T value) {
  out += stringPrintf(format, value);
}

}  // namespace

void Fmt::renderPointer(std::string& out, std::uint64_t address, const char* format) const {
  appendPrintf(out, format, static_cast<unsigned long long>(address));
}

void Fmt::renderString(std::string& out, const char* value, const char* format) const {
  if (!value) {
    out += quoteString(value);
    return;
  }
  appendPrintf(out, format, quoteString(value).c_str());
}

void Fmt::renderDouble(std::string& out, double value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderFloat(std::string& out, float value, const char* format) const {
  appendPrintf(out, format, static_cast<double>(value));
}

void Fmt::renderUnsignedLongLong(std::string& out, unsigned long long value,
                                 const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderLongLong(std::string& out, long long value, const char* format) const {
  appendPrintf(out, format, value);
}

// Both platforms print the same digits, so a wider long loses its upper half.
void Fmt::renderUnsignedLong(std::string& out, unsigned long value, const char* format) const {
  appendPrintf(out, format, static_cast<unsigned long>(static_cast<std::uint32_t>(value)));
}

void Fmt::renderLong(std::string& out, long value, const char* format) const {
  appendPrintf(out, format, static_cast<long>(static_cast<std::int32_t>(value)));
}

void Fmt::renderUnsignedInt(std::string& out, unsigned int value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderInt(std::string& out, int value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderUnsignedShort(std::string& out, unsigned short value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderShort(std::string& out, short value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderUnsignedChar(std::string& out, unsigned char value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderSignedChar(std::string& out, signed char value, const char* format) const {
  appendPrintf(out, format, value);
}

void Fmt::renderChar(std::string& out, char value, CharRenderer renderer) const {
  renderer(out, value, '\'');
}

void Fmt::renderBool(std::string& out, bool value, const char* words) const {
  out += value ? words + std::strlen(words) + 1 : words;
}

void Fmt::renderFourCharCode(std::string& out, std::uint32_t code, const char* format) const {
  std::string quoted = "'";
  for (int shift = 24; shift >= 0; shift -= 8) {
    const unsigned byte = (code >> shift) & 0xFF;
    if (!std::isprint(static_cast<int>(byte))) {
      renderUnsignedInt(out, code, format);
      return;
    }
    quoted += static_cast<char>(byte);
  }
  out += quoted + "'";
}

void renderQuotedChar(std::string& out, char value, char quote) {
  out += quote;
  appendEscaped(out, static_cast<unsigned char>(value), quote, 1);
  out += quote;
}
