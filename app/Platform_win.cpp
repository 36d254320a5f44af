#include <windows.h>

#include <csignal>

#include "Platform.h"
#include "Streams.h"

namespace {

// What newer C runtimes give a process that aborts; this one would give the code of a usage error.
// https://learn.microsoft.com/windows/win32/debug/getexceptioncode (STATUS_STACK_BUFFER_OVERRUN)
constexpr UINT kAborted = 0xC0000409;

void EndAborted(int) {
  TerminateProcess(GetCurrentProcess(), kAborted);
}

}  // namespace

// A missing disk or library gives an error code, and a crash ends the process, instead of a dialog
// that nobody would answer.
void PreparePlatform() {
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  // Failed assertions and uncaught exceptions end here, too.
  std::signal(SIGABRT, EndAborted);
  makeStreamsPrivate();
}

// ExitProcess would run what the drivers' libraries do when they are detached.
void LeaveProcess(int code) {
  flushStreams();
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  __builtin_unreachable();
}

void ArmTimeout(int32_t) {}

void HangBeforeExit(int32_t) {}
