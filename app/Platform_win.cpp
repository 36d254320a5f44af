#include <windows.h>

#include "app/CrashLine.h"
#include "app/Platform.h"
#include "log/Streams.h"

// A missing disk or library gives an error code, and a crash ends the process, instead of a dialog
// that nobody would answer.
void PreparePlatform() {
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  makeStreamsPrivate();
  ReportCrashes();
}

// ExitProcess would run what the drivers' libraries do when they are detached.
void LeaveProcess(int code) {
  flushStreams();
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  __builtin_unreachable();
}

void ArmTimeout(int32_t) {}

void HangBeforeExit(int32_t) {}
