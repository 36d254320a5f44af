#include <windows.h>

#include <iterator>

#include "LogPort.h"

namespace {

constexpr DWORD kThreadNaming = 0x406D1388;

// The record that debuggers look for behind the exception.
struct ThreadNameInfo {
  DWORD type = 0x1000;
  const char* name;
  DWORD threadId = static_cast<DWORD>(-1);  // the calling thread
  DWORD flags = 0;
};

LONG CALLBACK swallowThreadNaming(EXCEPTION_POINTERS* exception) {
  return exception->ExceptionRecord->ExceptionCode == kThreadNaming ? EXCEPTION_CONTINUE_EXECUTION
                                                                    : EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

std::uint64_t logport::currentThreadId() {
  return GetCurrentThreadId();
}

void logport::nameThreadForDebugger(const std::string& name) {
  // A debugger sees the exception before any handler does; without one, nobody else wants it. The
  // compiler has no __try, so a vectored handler swallows it. Unhandled, it would end the program.
  void* const handler = AddVectoredExceptionHandler(1, swallowThreadNaming);
  if (!handler) return;
  ThreadNameInfo info;
  info.name = name.c_str();
  ULONG_PTR arguments[sizeof info / sizeof(ULONG_PTR)];
  static_assert(sizeof arguments == sizeof info && std::size(arguments) == 3);
  CopyMemory(arguments, &info, sizeof info);
  RaiseException(kThreadNaming, 0, static_cast<DWORD>(std::size(arguments)), arguments);
  RemoveVectoredExceptionHandler(handler);
}
