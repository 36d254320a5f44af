#include <windows.h>
// After windows.h.
#include <psapi.h>
#include <tlhelp32.h>

#include "Support.h"

namespace nkutil::test {

std::string ownPath() {
  char path[MAX_PATH];
  return {path, GetModuleFileNameA(nullptr, path, MAX_PATH)};
}

void markRun() {}  // a Wine session runs one suite

Leftovers countLeftovers() {
  Leftovers left;
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  left.handles = static_cast<int>(handles);
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32First(all, &entry); more; more = Process32Next(all, &entry))
    if (std::string(entry.szExeFile) == "zoo.exe") ++left.processes;
  CloseHandle(all);
  PROCESS_MEMORY_COUNTERS memory{};
  GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory);
  left.residentKiB = static_cast<long>(memory.WorkingSetSize / 1024);
  return left;
}

}  // namespace nkutil::test
