#include <windows.h>

#include <csignal>

#include "rehearsal/Actions.h"

namespace rehearsal::system_actions {

void Hang() {
  for (;;) Sleep(INFINITE);
}

void StopUntilKilled() {
  for (;;) SuspendThread(GetCurrentThread());
}

void LeaveChild() {
  // A program that every Windows has and that takes its time.
  char command[] = "ping -n 30 127.0.0.1";
  STARTUPINFOA start = {};
  start.cb = sizeof start;
  PROCESS_INFORMATION child = {};
  if (!CreateProcessA(nullptr, command, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start,
                      &child))
    return;
  CloseHandle(child.hThread);
  CloseHandle(child.hProcess);
}

void CloseStreams() {
  for (const DWORD number : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
    CloseHandle(GetStdHandle(number));
}

void TakeSignals() {
  SetUnhandledExceptionFilter(nullptr);
  std::signal(SIGSEGV, SIG_IGN);
}

void WriteNoise() {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "line ", 5, &written, nullptr);
}

std::function<void()> RememberWinesSignal() {
  return [] {};
}

}  // namespace rehearsal::system_actions
