#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "tests/nkutil/Zoo.h"

void zoo::startSelf(const char* mode, Apart apart) {
  char path[MAX_PATH];
  GetModuleFileNameA(nullptr, path, MAX_PATH);
  std::string line = '"' + std::string(path) + "\" " + mode;
  STARTUPINFOA info{};
  info.cb = sizeof info;
  PROCESS_INFORMATION made{};
  const DWORD flags =
      apart == Apart::Session ? DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP : DWORD{0};
  CreateProcessA(path, line.data(), nullptr, nullptr, TRUE, flags, nullptr, nullptr, &info, &made);
}

void zoo::ignoreRequests() {
  SetConsoleCtrlHandler(nullptr, TRUE);
}

int wmain(int count, wchar_t** values) {
  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  for (const int descriptor : {0, 1, 2}) _setmode(descriptor, _O_BINARY);
  zoo::Arguments all;
  for (int i = 0; i < count; ++i) {
    char text[32768 * 3];
    WideCharToMultiByte(CP_UTF8, 0, values[i], -1, text, sizeof text, nullptr, nullptr);
    all.emplace_back(text);
  }
  const auto raise = [](const zoo::Arguments& a) {
    RaiseException(static_cast<DWORD>(std::stoul(a[0], nullptr, 16)), 0, 0, nullptr);
  };
  return zoo::run(all, {{"raise", raise}});
}
