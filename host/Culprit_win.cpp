#include <windows.h>
// Need the types above.
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>

#include "host/Culprit.h"
#include "nkutil/Handle.h"
#include "nkutil/Text_win.h"

namespace host {

namespace {

constexpr std::size_t kStackWords = 512;

/// The thread of the process that was made first; null where it can't be told.
nkutil::WinHandle openMainThread(DWORD process) {
  HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (all == INVALID_HANDLE_VALUE) return {};
  const nkutil::WinHandle threads(all);
  nkutil::WinHandle first;
  ULONGLONG earliest = ~ULONGLONG{0};
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(all, &entry); more; more = Thread32Next(all, &entry)) {
    if (entry.th32OwnerProcessID != process) continue;
    nkutil::WinHandle thread(
        OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE,
                   entry.th32ThreadID));
    FILETIME made, ended, kernel, user;
    if (!thread || !GetThreadTimes(thread.get(), &made, &ended, &kernel, &user)) continue;
    const ULONGLONG time = (ULONGLONG{made.dwHighDateTime} << 32) | made.dwLowDateTime;
    if (time >= earliest) continue;
    earliest = time;
    first = std::move(thread);
  }
  return first;
}

ThreadPlace readPlace(HANDLE process, HANDLE thread) {
  ThreadPlace place;
  if (SuspendThread(thread) == static_cast<DWORD>(-1)) return place;
  CONTEXT context{};
  context.ContextFlags = CONTEXT_CONTROL;
  if (GetThreadContext(thread, &context)) {
    place.counter = context.Rip;
    place.stack.resize(kStackWords);
    SIZE_T copied = 0;
    ReadProcessMemory(process, reinterpret_cast<const void*>(context.Rsp), place.stack.data(),
                      kStackWords * sizeof place.stack[0], &copied);
    place.stack.resize(copied / sizeof place.stack[0]);
  }
  ResumeThread(thread);
  return place;
}

/// Modules of the system that only pass a caller's wait on.
bool isRuntime(const std::string& file) {
  std::string name = file.substr(file.find_last_of("\\/") + 1);
  std::transform(name.begin(), name.end(), name.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  for (const char* runtime : {"ntdll.dll", "kernel32.dll", "kernelbase.dll", "msvcrt.dll",
                              "ucrtbase.dll", "vcruntime140.dll"})
    if (name == runtime) return true;
  return false;
}

/// What lies at the address, up to where it is something else. Only code of a library can be at
/// fault: a stack holds handles of modules and addresses of data, too.
CodeRange regionAt(HANDLE process, std::uint64_t address, HMODULE program) {
  CodeRange range;
  range.begin = address;
  range.end = address + 1;
  range.passesOn = true;
  MEMORY_BASIC_INFORMATION region{};
  if (!VirtualQueryEx(process, reinterpret_cast<const void*>(address), &region, sizeof region))
    return range;
  range.begin = reinterpret_cast<std::uint64_t>(region.BaseAddress);
  range.end = range.begin + region.RegionSize;
  range.base = reinterpret_cast<std::uint64_t>(region.AllocationBase);
  constexpr DWORD kCode =
      PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  const auto module = static_cast<HMODULE>(region.AllocationBase);
  if (region.Type != MEM_IMAGE || !(region.Protect & kCode) || module == program) return range;
  wchar_t path[1024];
  const DWORD length = K32GetModuleFileNameExW(process, module, path, ARRAYSIZE(path));
  range.file = nkutil::toUtf8({path, length});
  range.passesOn = length == 0 || isRuntime(range.file);
  return range;
}

std::vector<CodeRange> readRegions(HANDLE process, const ThreadPlace& place) {
  HMODULE modules[1] = {};  // the program is the first
  DWORD bytes = 0;
  K32EnumProcessModules(process, modules, sizeof modules, &bytes);
  std::vector<std::uint64_t> addresses = place.stack;
  if (place.counter) addresses.insert(addresses.begin(), *place.counter);
  std::vector<CodeRange> regions;
  for (const std::uint64_t address : addresses)
    if (std::none_of(regions.begin(), regions.end(), [address](const CodeRange& known) {
          return address >= known.begin && address < known.end;
        }))
      regions.push_back(regionAt(process, address, modules[0]));
  return regions;
}

}  // namespace

// Here a thread is suspended at once.
Culprit FindCulpritOnSystem(nkutil::ProcessId process, nkutil::Milliseconds /*toStop*/) {
  Culprit culprit;
  const nkutil::WinHandle handle(
      OpenProcess(PROCESS_VM_READ | PROCESS_QUERY_INFORMATION, FALSE, process));
  const nkutil::WinHandle thread = openMainThread(process);
  if (!handle || !thread) return culprit;
  const ThreadPlace place = readPlace(handle.get(), thread.get());
  NameCulprit(place, readRegions(handle.get(), place), culprit);
  return culprit;
}

// The system keeps no list of files.
std::optional<std::string> PackageOf(const std::string& /*file*/, nkutil::Time /*deadline*/) {
  return std::nullopt;
}

}  // namespace host
