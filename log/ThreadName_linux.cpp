#include <pthread.h>
#include <unistd.h>

#include "LogPort.h"

std::uint64_t logport::currentThreadId() {
  return static_cast<std::uint64_t>(gettid());
}

void logport::nameThreadForDebugger(const std::string& name) {
  // The kernel refuses names of more than 15 bytes.
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}
