#include <windows.h>
// Need the types above.
#include <io.h>
#include <psapi.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cwchar>
#include <initializer_list>

#include "app/CrashLine.h"
#include "log/Streams.h"

// The filter runs in whatever state a driver left the process: no allocation, no lock of the
// loader's (GetModuleFileName takes it).

namespace {

/// A fault's caller is looked for in this much of the stack.
constexpr size_t kScannedWords = 512;

/// The system names a mapped file by its device; people and installers know it by its drive.
/// Asked for beforehand, as it may allocate.
wchar_t deviceOfDrive[26][MAX_PATH];

void noteDrives() {
  wchar_t drive[] = L"A:";
  for (wchar_t(&device)[MAX_PATH] : deviceOfDrive) {
    if (!QueryDosDeviceW(drive, device, MAX_PATH)) device[0] = 0;
    ++drive[0];
  }
}

struct Module {
  bool found = false;
  uintptr_t base = 0;
  wchar_t path[1024];
};

/// The module whose code holds the address.
void findModule(uintptr_t address, Module& module) {
  module.found = false;
  MEMORY_BASIC_INFORMATION memory;
  constexpr DWORD kExecutable =
      PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
  if (!VirtualQuery(reinterpret_cast<const void*>(address), &memory, sizeof memory)) return;
  if (memory.Type != MEM_IMAGE || !(memory.Protect & kExecutable)) return;
  const DWORD length = K32GetMappedFileNameW(GetCurrentProcess(), memory.AllocationBase,
                                             module.path, ARRAYSIZE(module.path));
  if (length == 0) return;
  module.base = reinterpret_cast<uintptr_t>(memory.AllocationBase);
  module.found = true;
}

/// Modules of the system that only pass a caller's fault on.
bool isRuntime(const wchar_t* path) {
  const wchar_t* slash = wcsrchr(path, L'\\');
  const wchar_t* name = slash ? slash + 1 : path;
  for (const wchar_t* runtime : {L"ntdll.dll", L"kernel32.dll", L"kernelbase.dll", L"msvcrt.dll",
                                 L"ucrtbase.dll", L"vcruntime140.dll"})
    if (lstrcmpiW(name, runtime) == 0) return true;
  return false;
}

/// The code at fault: where it crashed or, inside the runtime, the nearest caller outside.
uintptr_t findCulprit(uintptr_t counter, uintptr_t stack, Module& module) {
  static Module caller;
  static uintptr_t words[kScannedWords];
  findModule(counter, module);
  if (module.found && !isRuntime(module.path)) return counter;
  SIZE_T copied = 0;
  ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(stack), words, sizeof words,
                    &copied);
  for (size_t i = 0; i < copied / sizeof *words; ++i) {
    findModule(words[i], caller);
    if (!caller.found || isRuntime(caller.path)) continue;
    module = caller;
    return words[i];
  }
  return counter;
}

void addPath(CrashText& text, const wchar_t* path) {
  static char bytes[4096];
  // Wine's own form of a path with a drive.
  constexpr wchar_t kNative[] = L"\\??\\";
  if (wcsncmp(path, kNative, ARRAYSIZE(kNative) - 1) == 0) path += ARRAYSIZE(kNative) - 1;
  for (size_t drive = 0; drive < ARRAYSIZE(deviceOfDrive); ++drive) {
    const wchar_t* device = deviceOfDrive[drive];
    const size_t length = wcslen(device);
    if (length == 0 || wcsncmp(path, device, length) != 0 || path[length] != L'\\') continue;
    text.Add(static_cast<char>('A' + drive));
    text.Add(':');
    path += length;
    break;
  }
  if (WideCharToMultiByte(CP_UTF8, 0, path, -1, bytes, sizeof bytes, nullptr, nullptr))
    text.Add(bytes);
}

HANDLE failures = nullptr;

/// Once: a fault of this function itself only ends the process, and a second thread waits for the
/// first.
void writeLine(DWORD code, uintptr_t counter, uintptr_t stack) {
  static std::atomic<DWORD> owner{0};
  static CrashText text;
  static Module module;
  const DWORD self = GetCurrentThreadId();
  DWORD nobody = 0;
  if (!owner.compare_exchange_strong(nobody, self)) {
    if (owner != self) Sleep(INFINITE);
    return;
  }
  const uintptr_t address = findCulprit(counter, stack, module);
  // A driver's unfinished line may stand there.
  text.Add("\ncrash: 0x");
  for (int shift = 28; shift >= 0; shift -= 4) text.Add("0123456789ABCDEF"[(code >> shift) & 0xF]);
  text.Add(" in ");
  if (module.found) {
    addPath(text, module.path);
    text.Add('+');
    text.AddHex(address - module.base);
  } else {
    text.Add('?');
  }
  text.Add('\r');
  text.EndLine();
  DWORD written = 0;
  WriteFile(failures, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

// The system's own end has the same exit code, but Wine starts a debugger on the way there, error
// mode or not, and a host would wait for that.
LONG WINAPI onException(EXCEPTION_POINTERS* exception) {
  const DWORD code = exception->ExceptionRecord->ExceptionCode;
  writeLine(code, reinterpret_cast<uintptr_t>(exception->ExceptionRecord->ExceptionAddress),
            exception->ContextRecord->Rsp);
  TerminateProcess(GetCurrentProcess(), code);
  return EXCEPTION_CONTINUE_SEARCH;
}

// What newer C runtimes give a process that aborts; this one would give the code of a usage error.
// https://learn.microsoft.com/windows/win32/debug/getexceptioncode (STATUS_STACK_BUFFER_OVERRUN)
constexpr UINT kAborted = 0xC0000409;

// Failed assertions and uncaught exceptions end here, too.
void onAbort(int) {
  // By the unwinder, where the C library's frames are large and hold what earlier calls left there;
  // behind the callers lies the stack itself.
  void* callers[16] = {};
  RtlCaptureStackBackTrace(1, ARRAYSIZE(callers), callers, nullptr);
  writeLine(kAborted, reinterpret_cast<uintptr_t>(callers[0]),
            reinterpret_cast<uintptr_t>(callers + 1));
  TerminateProcess(GetCurrentProcess(), kAborted);
}

}  // namespace

void ReportCrashes() {
  failures = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(failureStream())));
  noteDrives();
  // A stack that ran over leaves the filter this much to run on.
  ULONG reserved = 32 * 1024;
  SetThreadStackGuarantee(&reserved);
  SetUnhandledExceptionFilter(onException);
  std::signal(SIGABRT, onAbort);
}
