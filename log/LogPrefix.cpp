#include "log/LogPrefix.h"

#include <boost/format.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <locale>
#include <map>

#include "log/Fmt.h"
#include "log/LogPort.h"

namespace {

using Lock = boost::unique_lock<boost::recursive_mutex>;

struct Registry {
  boost::recursive_mutex mutex;
  std::map<std::string, std::string> names;
};

// Never destroyed: statics of other files may still log while the process ends.
Registry& registry() {
  static Registry& names = *new Registry;
  return names;
}

template <class T>
std::string formatted(const char* format, const T& value) {
  return (boost::format(format, std::locale::classic()) % value).str();
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

std::string threadIdText(std::uint64_t id) {
  return id == 0 ? "{Not-any-thread}" : stringPrintf("%llx", static_cast<unsigned long long>(id));
}

std::string threadName() {
  std::string id = threadIdText(logport::currentThreadId());
  const Lock lock(registry().mutex);
  const auto named = registry().names.find(id);
  return named == registry().names.end() ? id : named->second;
}

void setThreadName(const std::string& name) {
  const Lock lock(registry().mutex);
  registry().names[threadIdText(logport::currentThreadId())] = name;
  logport::nameThreadForDebugger(name);
}

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
