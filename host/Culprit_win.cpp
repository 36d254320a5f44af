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

std::vector<CodeRange> readModules(HANDLE process) {
  HMODULE modules[1024];
  DWORD bytes = 0;
  std::vector<CodeRange> code;
  if (!K32EnumProcessModules(process, modules, sizeof modules, &bytes)) return code;
  const std::size_t count = std::min<std::size_t>(bytes / sizeof(HMODULE), ARRAYSIZE(modules));
  for (std::size_t i = 0; i < count; ++i) {
    MODULEINFO about{};
    wchar_t path[1024];
    const DWORD length = K32GetModuleFileNameExW(process, modules[i], path, ARRAYSIZE(path));
    if (!length || !K32GetModuleInformation(process, modules[i], &about, sizeof about)) continue;
    CodeRange range;
    range.base = range.begin = reinterpret_cast<std::uint64_t>(about.lpBaseOfDll);
    range.end = range.begin + about.SizeOfImage;
    range.file = nkutil::toUtf8({path, length});
    // The program itself is the first.
    range.passesOn = i == 0 || isRuntime(range.file);
    code.push_back(std::move(range));
  }
  return code;
}

}  // namespace

Culprit FindCulpritOnSystem(nkutil::ProcessId process) {
  Culprit culprit;
  const nkutil::WinHandle handle(
      OpenProcess(PROCESS_VM_READ | PROCESS_QUERY_INFORMATION, FALSE, process));
  const nkutil::WinHandle thread = openMainThread(process);
  if (!handle || !thread) return culprit;
  const ThreadPlace place = readPlace(handle.get(), thread.get());
  NameCulprit(place, readModules(handle.get()), culprit);
  return culprit;
}

// The system keeps no list of files.
std::optional<std::string> PackageOf(const std::string& /*file*/, nkutil::Time /*deadline*/) {
  return std::nullopt;
}

}  // namespace host
