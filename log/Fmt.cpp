#include "Fmt.h"

#include <cstdint>

#include "StringPrintf.h"

namespace {

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

std::string hexadecimalFormat(int bytes, const char* lengthModifier) {
  return stringPrintf("0x%%0%d%sx", 2 * bytes, lengthModifier);
}

std::string paddedDecimalFormat(int bytes, const char* lengthModifier) {
  const auto largest = static_cast<long long>(UINT64_MAX >> (65 - 8 * bytes));
  const auto digits = stringPrintf("%lld", largest).size();
  return stringPrintf("%%%d%sd", static_cast<int>(digits) + 1, lengthModifier);
}
