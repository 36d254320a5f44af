#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

namespace nkutil {

/// The calls of the system that can fail. Each goes through systemCall(), so that a test can make
/// any of them fail.
enum class Call {
  Pipe,
  Event,
  Duplicate,
  OpenNull,
  Thread,
  Poll,
  Read,
  Write,
  FindProgram,
  Spawn,
  Session,
  ParentDeathSignal,
  ChildStream,
  CloseOthers,
  Folder,
  Execute,
  ProcessHandle,
  WaitProcess,
  ListProcesses,
  Kill,
  Job,
  JobList,
  AssignJob,
  Resume,
  QueryJob,
};

/// Asked before each call: 0 lets it go ahead, else it fails with this code of the system. Null
/// (the default) lets all go ahead. Any thread.
using CallFault = int (*)(Call);

namespace detail {
inline std::atomic<CallFault> callFault{nullptr};
}
inline void setCallFault(CallFault fault) {
  detail::callFault = fault;
}

/// errno or GetLastError().
int systemError();
void setSystemError(int error);
/// The system's own words for a code, without a line end; some text for an unknown one, too.
std::string systemErrorText(int error);

/// What `call` returns, or `failure` with the system's error set where a fault is rehearsed.
template <class Result, class Function>
Result systemCall(Call which, Result failure, Function call) {
  if (const CallFault fault = detail::callFault) {
    if (const int error = fault(which)) {
      setSystemError(error);
      return failure;
    }
  }
  return call();
}

/// A thread that no signal of the host is delivered to. Not joinable when the system has none;
/// the code is then the system's error.
std::thread startThread(std::function<void()> body);
/// The system's number of this thread.
std::uint32_t currentThreadNumber();

}  // namespace nkutil
