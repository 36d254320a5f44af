#include "Fmt.h"

// Each value through its virtual operation with the policy's own format.

namespace {

// Collects what one rendering operation appends.
template <class Value, class Format>
std::string collect(const Fmt& policy, void (Fmt::*render)(std::string&, Value, Format) const,
                    Value value, Format format) {
  std::string out;
  (policy.*render)(out, value, format);
  return out;
}

}  // namespace

std::string Fmt::text(const void* value) const {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(value));
  return collect(*this, &Fmt::renderPointer, address, fFormats.fPointer);
}

std::string Fmt::text(const char* value) const {
  return collect(*this, &Fmt::renderString, value, fFormats.fString);
}

std::string Fmt::text(double value) const {
  return collect(*this, &Fmt::renderDouble, value, fFormats.fDouble);
}

std::string Fmt::text(float value) const {
  return collect(*this, &Fmt::renderFloat, value, fFormats.fFloat);
}

std::string Fmt::text(unsigned long long value) const {
  return collect(*this, &Fmt::renderUnsignedLongLong, value, fFormats.fUnsignedLongLong);
}

std::string Fmt::text(long long value) const {
  return collect(*this, &Fmt::renderLongLong, value, fFormats.fLongLong);
}

std::string Fmt::text(unsigned long value) const {
  return collect(*this, &Fmt::renderUnsignedLong, value, fFormats.fUnsignedLong);
}

std::string Fmt::text(long value) const {
  return collect(*this, &Fmt::renderLong, value, fFormats.fLong);
}

std::string Fmt::text(unsigned int value) const {
  return collect(*this, &Fmt::renderUnsignedInt, value, fFormats.fUnsignedInt);
}

std::string Fmt::text(int value) const {
  return collect(*this, &Fmt::renderInt, value, fFormats.fInt);
}

std::string Fmt::text(unsigned short value) const {
  return collect(*this, &Fmt::renderUnsignedShort, value, fFormats.fUnsignedShort);
}

std::string Fmt::text(short value) const {
  return collect(*this, &Fmt::renderShort, value, fFormats.fShort);
}

std::string Fmt::text(unsigned char value) const {
  return collect(*this, &Fmt::renderUnsignedChar, value, fFormats.fUnsignedChar);
}

std::string Fmt::text(signed char value) const {
  return collect(*this, &Fmt::renderSignedChar, value, fFormats.fSignedChar);
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
