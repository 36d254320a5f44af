#include "host/Text.h"

#include <cstdio>
#include <ratio>

namespace host {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

/// Bytes of a character by its first one; 0 where none begins so.
std::size_t sizeByLead(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  return lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
}

}  // namespace

Utf8Character FirstCharacter(std::string_view text) {
  const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
  const std::size_t size = sizeByLead(byte(0));
  if (size == 1) return {byte(0), 1};
  if (size == 0 || size > text.size()) return {kReplacement, 1};
  char32_t code = byte(0) & (0x7Fu >> size);
  for (std::size_t place = 1; place < size; ++place) {
    if ((byte(place) & 0xC0u) != 0x80u) return {kReplacement, 1};
    code = code << 6 | (byte(place) & 0x3Fu);
  }
  // Longer than needed, a half of a surrogate pair, or past the last code.
  const bool wrong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000) ||
                     (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF;
  if (wrong) return {kReplacement, 1};
  return {code, size};
}

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const Utf8Character next = FirstCharacter(text);
    const bool replaced = next.code == kReplacement && next.size == 1;
    valid.append(replaced ? "\xEF\xBF\xBD" : text.substr(0, next.size));
    text.remove_prefix(next.size);
  }
  return valid;
}

std::string SkipName(std::string name) {
  for (std::size_t comma; (comma = name.find(',')) != name.npos;) name.replace(comma, 1, "%2C");
  return name;
}

std::string UtcTime(std::chrono::system_clock::time_point time) {
  using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch());
  const auto days = std::chrono::duration_cast<Days>(seconds);
  const auto rest = static_cast<int>((seconds - days).count());
  // The Gregorian calendar repeats every 400 years; years that begin in March end with the odd day.
  const std::int64_t shifted = days.count() + 719468;
  const std::int64_t era = shifted / 146097;
  const std::int64_t dayOfEra = shifted % 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const auto dayOfYear =
      static_cast<int>(dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100));
  const int march = (5 * dayOfYear + 2) / 153;
  const int month = march < 10 ? march + 3 : march - 9;
  const auto year = static_cast<int>(era * 400 + yearOfEra + (month <= 2));
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", year, month,
                dayOfYear - (153 * march + 2) / 5 + 1, rest / 3600, rest / 60 % 60, rest % 60);
  return text;
}

}  // namespace host
