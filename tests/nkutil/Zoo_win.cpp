#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <cstdio>

#include "Zoo.h"

namespace zoo {

namespace {

std::string utf8(const wchar_t* text) {
  std::string narrow(std::wcslen(text) * 3 + 1, '\0');
  narrow.resize(static_cast<std::size_t>(WideCharToMultiByte(
      CP_UTF8, 0, text, -1, narrow.data(), static_cast<int>(narrow.size()), nullptr, nullptr)));
  narrow.pop_back();
  return narrow;
}

}  // namespace

void begin() {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  for (const int descriptor : {0, 1, 2}) _setmode(descriptor, _O_BINARY);
}

int startSelf(const std::vector<std::string>& arguments, Apart apart) {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string line = '"' + std::string(path) + "\" " + arguments[0];
  STARTUPINFOA info{};
  info.cb = sizeof info;
  PROCESS_INFORMATION made{};
  const DWORD flags =
      apart == Apart::Session ? DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP : DWORD{0};
  CreateProcessA(path, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &info, &made);
  return static_cast<int>(made.dwProcessId);
}

void sleepMs(int milliseconds) {
  Sleep(static_cast<DWORD>(milliseconds));
}

void closeStreams() {
  for (const int descriptor : {0, 1, 2}) _close(descriptor);
}

void ignoreRequests() {
  SetConsoleCtrlHandler(nullptr, TRUE);
}

bool special(const std::string& mode, const std::vector<std::string>&) {
  if (mode == "segv") {
    RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
  } else if (mode == "fpe") {
    RaiseException(EXCEPTION_INT_DIVIDE_BY_ZERO, 0, 0, nullptr);
  } else if (mode == "inherited") {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    std::printf("%lu", count);
  } else {
    return false;
  }
  return true;
}

}  // namespace zoo

int wmain(int count, wchar_t** values) {
  std::vector<std::string> arguments;
  for (int i = 0; i < count; ++i) arguments.push_back(zoo::utf8(values[i]));
  return zoo::run(std::move(arguments));
}
