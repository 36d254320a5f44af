#include "log/Fmt.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "log/Quoting.h"

namespace {

constexpr std::size_t kStackBytes = 256;
// The arguments may name memory that another thread changes, so a measured text may have grown.
constexpr int kMeasures = 3;

// One formatting run over a copy of the arguments; negative on failure.
int format(char* buffer, std::size_t size, const char* pattern, va_list args) {
  va_list copy;
  va_copy(copy, args);
  // The analyzer loses va_copy once the list came through a parameter.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int length = std::vsnprintf(buffer, size, pattern, copy);
  va_end(copy);
  return length;
}

// The newest policy alive.
Fmt* newestPolicy = nullptr;

// Signed numbers in decimal; unsigned ones show their width, so they are built from it.
FmtFormats defaultFormats() {
  static const std::string unsignedInt = hexadecimalFormat(4, "");
  static const std::string unsignedLong = hexadecimalFormat(4, "l");
  static const std::string unsignedLongLong = hexadecimalFormat(8, "ll");
  static const std::string pointer = hexadecimalFormat(8, "ll");
  FmtFormats formats{};
  formats.fBooleanWords = "false\0true";
  formats.fCharRenderer = renderQuotedChar;
  formats.fSignedChar = "%d";
  formats.fUnsignedChar = "0x%02x";
  formats.fShort = "%d";
  formats.fUnsignedShort = "0x%04x";
  formats.fInt = "%d";
  formats.fUnsignedInt = unsignedInt.c_str();
  formats.fLong = "%ld";
  formats.fUnsignedLong = unsignedLong.c_str();
  formats.fLongLong = "%lld";
  formats.fUnsignedLongLong = unsignedLongLong.c_str();
  formats.fFloat = "%.2f";
  formats.fDouble = "%.2f";
  formats.fString = "\"%s\"";
  formats.fPointer = pointer.c_str();
  return formats;
}

// What printf takes a value as. Both platforms print the same digits of a long, so a wider one
// loses its upper half.
template <class T>
T printed(T value) {
  return value;
}
double printed(float value) {
  return static_cast<double>(value);
}
unsigned long printed(unsigned long value) {
  return static_cast<std::uint32_t>(value);
}
long printed(long value) {
  return static_cast<std::int32_t>(value);
}

// Collects what one rendering operation appends.
template <class Value, class Format>
std::string collect(const Fmt& policy, void (Fmt::*render)(std::string&, Value, Format) const,
                    Value value, Format format) {
  std::string out;
  (policy.*render)(out, value, format);
  return out;
}

}  // namespace

Fmt::Fmt(const FmtFormats& formats) : fFormats(formats) {
  link();
}

Fmt::Fmt(const Fmt& other) : fFormats(other.fFormats) {
  link();
}

Fmt& Fmt::operator=(const Fmt& other) {
  if (this != &other) fFormats = other.fFormats;
  return *this;
}

Fmt::~Fmt() {
  (fNewer ? fNewer->fOlder : newestPolicy) = fOlder;
  if (fOlder) fOlder->fNewer = fNewer;
}

void Fmt::link() {
  fOlder = newestPolicy;
  if (fOlder) fOlder->fNewer = this;
  newestPolicy = this;
}

Fmt& Fmt::defaultPolicy() {
  static Fmt& policy = *new Fmt(defaultFormats());
  return policy;
}

Fmt& Fmt::current() {
  return newestPolicy ? *newestPolicy : defaultPolicy();
}

void Fmt::renderPointer(std::string& out, std::uint64_t address, const char* format) const {
  out += stringPrintf(format, static_cast<unsigned long long>(address));
}

void Fmt::renderString(std::string& out, const char* value, const char* format) const {
  const std::string quoted = quoteString(value);
  out += value ? stringPrintf(format, quoted.c_str()) : quoted;
}

// Each value through its virtual operation with the policy's own format.
#define FMT_DEFINE(name, type)                                                     \
  void Fmt::render##name(std::string& out, type value, const char* format) const { \
    out += stringPrintf(format, printed(value));                                   \
  }                                                                                \
  std::string Fmt::text(type value) const {                                        \
    return collect(*this, &Fmt::render##name, value, fFormats.f##name);            \
  }
FMT_PRINTED_TYPES(FMT_DEFINE)
#undef FMT_DEFINE

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

std::string Fmt::text(const void* value) const {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(value));
  return collect(*this, &Fmt::renderPointer, address, fFormats.fPointer);
}

std::string Fmt::text(const char* value) const {
  return collect(*this, &Fmt::renderString, value, fFormats.fString);
}

std::string Fmt::text(char value, CharRenderer renderer) const {
  return collect(*this, &Fmt::renderChar, value, renderer ? renderer : fFormats.fCharRenderer);
}

std::string Fmt::text(bool value, const char* words) const {
  return collect(*this, &Fmt::renderBool, value, words ? words : fFormats.fBooleanWords);
}

std::string Fmt::fourCharCode(std::uint32_t code) const {
  return collect(*this, &Fmt::renderFourCharCode, code, fFormats.fUnsignedInt);
}

void renderQuotedChar(std::string& out, char value, char quote) {
  out += quote;
  appendEscaped(out, static_cast<unsigned char>(value), quote, 1);
  out += quote;
}

std::string hexadecimalFormat(int bytes, const char* lengthModifier) {
  return stringPrintf("0x%%0%d%sx", 2 * bytes, lengthModifier);
}

std::string paddedDecimalFormat(int bytes, const char* lengthModifier) {
  const auto largest = static_cast<long long>(UINT64_MAX >> (65 - 8 * bytes));
  const auto digits = stringPrintf("%lld", largest).size();
  return stringPrintf("%%%d%sd", static_cast<int>(digits) + 1, lengthModifier);
}

std::string stringVPrintf(const char* pattern, va_list args) {
  char local[kStackBytes];
  std::unique_ptr<char[]> heap;
  char* buffer = local;
  std::size_t size = sizeof local;
  for (int measure = 0; measure < kMeasures; ++measure) {
    const int length = format(nullptr, 0, pattern, args);
    if (length < 0) return {};
    const std::size_t needed = static_cast<std::size_t>(length) + 1;
    if (needed <= size) {
      const int written = format(buffer, size, pattern, args);
      if (written < 0) return {};
      return {buffer, std::min(static_cast<std::size_t>(written), size - 1)};
    }
    heap.reset(new char[needed]);
    buffer = heap.get();
    size = needed;
  }
  return {};
}

std::string stringPrintf(const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  std::string text = stringVPrintf(pattern, args);
  va_end(args);
  return text;
}
