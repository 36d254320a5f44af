#include "ThreadName.h"

#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <map>

#include "LogPort.h"
#include "StringPrintf.h"

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
