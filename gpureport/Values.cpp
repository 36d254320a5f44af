#include "gpureport/Values.h"

#include <cstdint>
#include <cstdio>

#include "host/Fields.h"
#include "host/Text.h"

namespace gpureport {

const char* ApiWord(protocol::GPUKind kind) {
  return kind == protocol::GPUKind::OpenGL ? "opengl" : "opencl";
}

std::string TextOf(const host::Gpu& gpu, const char* field) {
  return host::FieldValue<std::string>(gpu, field).value_or("");
}

std::string TypeOf(const host::Gpu& gpu) {
  const auto integrated = host::FieldValue<bool>(gpu, "integrated");
  return !integrated ? "" : *integrated ? "integrated" : "discrete";
}

std::string Cut(const std::string& text, std::size_t bytes) {
  const std::string valid = host::ValidUtf8(text.substr(0, bytes + 1));
  if (valid.size() <= bytes) {
    return valid;
  }
  std::size_t end = bytes;
  while (end > 0 && static_cast<unsigned char>(valid[end]) >> 6 == 2) {
    --end;
  }
  return valid.substr(0, end);
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
  char text[48];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ",
                static_cast<long long>(era * 400 + yearOfEra + (month <= 2)), month,
                dayOfYear - (153 * march + 2) / 5 + 1, rest / 3600, rest / 60 % 60, rest % 60);
  return text;
}

}  // namespace gpureport
