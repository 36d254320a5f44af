#pragma once

#include <cstdarg>
#include <cstdint>
#include <string>

/// Appends a character between two quote characters.
using CharRenderer = void (*)(std::string& out, char value, char quote);

/// The types that a policy prints by one printf format each, X(name, type), in the order of the
/// policy's operations. long counts as 4 bytes on every platform.
// clang-format off
#define FMT_PRINTED_TYPES(X)                                                                 \
  X(Double, double) X(Float, float)                                                          \
  X(UnsignedLongLong, unsigned long long) X(LongLong, long long)                             \
  X(UnsignedLong, unsigned long) X(Long, long) X(UnsignedInt, unsigned int) X(Int, int)      \
  X(UnsignedShort, unsigned short) X(Short, short)                                           \
  X(UnsignedChar, unsigned char) X(SignedChar, signed char)
// clang-format on

/// What a policy prints each type with: printf formats but for the first two.
struct FmtFormats {
  const char* fBooleanWords;  ///< two zero-terminated words back to back, false first
  CharRenderer fCharRenderer;
  const char* fSignedChar;
  const char* fUnsignedChar;
  const char* fShort;
  const char* fUnsignedShort;
  const char* fInt;
  const char* fUnsignedInt;
  const char* fLong;
  const char* fUnsignedLong;
  const char* fLongLong;
  const char* fUnsignedLongLong;
  const char* fFloat;
  const char* fDouble;
  const char* fString;
  const char* fPointer;
};

/// A formatting policy: one virtual operation and one format per built-in type. Policies form a
/// chain; the newest one alive is current. Policies are made and destroyed on one thread.
class Fmt {
 public:
  /// Takes over the formats and becomes the current policy.
  Fmt(const Fmt& other);
  /// Takes over the formats only.
  Fmt& operator=(const Fmt& other);
  virtual ~Fmt();

  // Each appends the value in the format given, a printf format of the promoted type.
  virtual void renderPointer(std::string& out, std::uint64_t address, const char* format) const;
  /// Escaped before it is formatted; "<nullptr>" without a format for null.
  virtual void renderString(std::string& out, const char* value, const char* format) const;
#define FMT_RENDER(name, type) \
  virtual void render##name(std::string& out, type value, const char* format) const;
  FMT_PRINTED_TYPES(FMT_RENDER)
#undef FMT_RENDER
  virtual void renderChar(std::string& out, char value, CharRenderer renderer) const;
  /// `words` as in FmtFormats.
  virtual void renderBool(std::string& out, bool value, const char* words) const;
  /// See fourCharCode(); `format` serves a code that is not printable.
  virtual void renderFourCharCode(std::string& out, std::uint32_t code, const char* format) const;

  /// The value in this policy's own format.
  std::string text(const void* value) const;
  std::string text(const char* value) const;
#define FMT_TEXT(name, type) std::string text(type value) const;
  FMT_PRINTED_TYPES(FMT_TEXT)
#undef FMT_TEXT
  /// Null takes the policy's own renderer or words.
  std::string text(char value, CharRenderer renderer = nullptr) const;
  std::string text(bool value, const char* words = nullptr) const;
  /// 'ABCD' for four printable bytes, most significant first; else like an unsigned int.
  std::string fourCharCode(std::uint32_t code) const;

  /// Holds the defaults; made on first use, lives as long as the process.
  static Fmt& defaultPolicy();
  static Fmt& current();

 private:
  explicit Fmt(const FmtFormats& formats);
  void link();

  Fmt* fOlder = nullptr;
  Fmt* fNewer = nullptr;

 protected:
  FmtFormats fFormats;
};

/// The value in the current policy's format: fmt(3.14159) is "3.14".
template <class T>
std::string fmt(T value) {
  return Fmt::current().text(value);
}
inline std::string fmt(char value, CharRenderer renderer) {
  return Fmt::current().text(value, renderer);
}
inline std::string fmt(bool value, const char* words) {
  return Fmt::current().text(value, words);
}
inline std::string fmtFourCharCode(std::uint32_t code) {
  return Fmt::current().fourCharCode(code);
}

/// The default character renderer.
void renderQuotedChar(std::string& out, char value, char quote);

/// "0x%08lx" for (4, "l"): all digits of an unsigned value of that many bytes.
std::string hexadecimalFormat(int bytes, const char* lengthModifier);
/// "%11ld" for (4, "l"): wide enough for any signed value of that many bytes.
std::string paddedDecimalFormat(int bytes, const char* lengthModifier);

/// printf into a string; empty when the text cannot be formatted.
std::string stringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// The same of an argument list, which may be used again afterwards.
std::string stringVPrintf(const char* format, va_list args);
