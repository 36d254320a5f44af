#include "log/LogPort.h"

#include <windows.h>
// Need the types above.
#include <fcntl.h>
#include <io.h>
#include <knownfolders.h>
#include <share.h>
#include <shlobj.h>

#include <iterator>

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

bool isOpen(std::FILE* stream) {
  // Negative for a process that was started without the stream.
  return _fileno(stream) >= 0;
}

}  // namespace

std::int64_t logport::clockTicks() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

double logport::secondsPerTick() {
  LARGE_INTEGER ticksPerSecond;
  QueryPerformanceFrequency(&ticksPerSecond);
  return 1.0 / static_cast<double>(ticksPerSecond.QuadPart);
}

std::int64_t logport::utcMicroseconds() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  const auto high = static_cast<std::int64_t>(time.dwHighDateTime);
  const std::int64_t tenthsOfMicros = (high << 32) | time.dwLowDateTime;
  // File times count from 1601.
  constexpr std::int64_t kMicrosFrom1601To1970 = 11644473600000000;
  return tenthsOfMicros / 10 - kMicrosFrom1601To1970;
}

std::uint64_t logport::currentThreadId() {
  return GetCurrentThreadId();
}

void logport::nameThreadForDebugger(const std::string& name) {
  // A debugger sees the exception before any handler does; without one it means nothing. The
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

std::FILE* logport::privateCopy(std::FILE* stream) {
  if (!isOpen(stream)) return nullptr;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  const HANDLE process = GetCurrentProcess();
  HANDLE copy = nullptr;
  if (!DuplicateHandle(process, handle, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
    return nullptr;
  const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(copy), _O_TEXT);
  // The descriptor owns the handle, and the stream will own the descriptor.
  return descriptor == -1 ? nullptr : _fdopen(descriptor, "w");
}

void logport::leadToStandardError(std::FILE* stream) {
  if (!isOpen(stderr)) std::freopen("NUL", "w", stderr);
  const int descriptor = _fileno(stream);
  // The duplicate mostly gets the number of the handle that is closed here, so that a C library
  // that noted it at its own start follows, too.
  if (_dup2(_fileno(stderr), descriptor) == 0)
    SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)));
}

void logport::writeDebugText(const char* text) {
  OutputDebugStringA(text);
}

std::FILE* logport::openSharedAppend(const boost::filesystem::path& path) {
  // string() converts to the code page of the system's file functions.
  return _fsopen(path.string().c_str(), "a", _SH_DENYNO);
}

boost::filesystem::path logport::desktopFolder() {
  PWSTR text = nullptr;
  boost::filesystem::path folder;
  if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_Desktop, 0, nullptr, &text))) folder = text;
  CoTaskMemFree(text);
  return folder;
}
