#include "LogPrefix.h"

#include <boost/format.hpp>

namespace {

template <class T>
std::string formatted(const char* format, const T& value) {
  return (boost::format(format) % value).str();
}

// A run of fields of which any may be missing: each brings the separator that the one before left.
struct FieldRun {
  std::string text;
  std::string separator;

  template <class T>
  void add(bool chosen, const char* format, const T& value, const char* nextSeparator) {
    if (!chosen) return;
    text += separator + formatted(format, value);
    separator = nextSeparator;
  }
};

}  // namespace

std::string formatLogPrefix(const PrefixValues& values) {
  const std::uint32_t flags = values.flags;
  FieldRun run;
  run.add(flags & kPrefixCount, "%05d", values.count, "_");
  run.add(flags & kPrefixYear, "%04d", values.time.year, "/");
  run.add(flags & kPrefixMonth, "%02d", values.time.month, "/");
  run.add(flags & kPrefixDay, "%02d", values.time.day, "");
  // Between date and time, however much of either is there.
  if (flags & kPrefixDate) run.separator = "_";
  run.add(flags & kPrefixHour, "%02d", values.time.hour, ":");
  run.add(flags & kPrefixMinute, "%02d", values.time.minute, ":");
  run.add(flags & kPrefixSeconds, "%06.3f", values.time.seconds, "");
  if (flags & kPrefixElapsed) run.text += formatted("(%1$+07.3f)", values.elapsed);
  if (flags & kPrefixThread) run.text += "[" + values.thread + "]";
  if (flags != 0) run.text += ' ';
  return run.text;
}
