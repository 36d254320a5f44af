#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>

#include "gpureport/Platform.h"
#include "nkutil/Text_win.h"

namespace gpureport {

namespace {

std::atomic<bool> interrupted{false};

BOOL WINAPI interrupt(DWORD) {
  // The second time the system's own handler ends the program.
  return interrupted.exchange(true) ? FALSE : TRUE;
}

HANDLE handle(StandardStream stream) {
  return GetStdHandle(stream == StandardStream::Out ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

void PrepareProcess() {
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  _setmode(_fileno(stdin), _O_BINARY);
  SetConsoleOutputCP(CP_UTF8);
  DWORD mode = 0;
  // Colours; a console that knows none is told none by TerminalColumns().
  if (GetConsoleMode(handle(StandardStream::Out), &mode))
    SetConsoleMode(handle(StandardStream::Out), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

std::vector<std::string> Arguments(int, char**) {
  int count = 0;
  wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count);
  std::vector<std::string> arguments;
  for (int i = 1; wide && i < count; ++i) arguments.push_back(nkutil::toUtf8(wide[i]));
  LocalFree(wide);
  return arguments;
}

std::string OwnFolder() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return nkutil::toUtf8(path.substr(0, path.rfind(L'\\') + 1));
}

const char* ProbeName() {
  return "gpuprobe.exe";
}

int TerminalColumns(StandardStream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(handle(stream), &info)) return 0;
  return std::max(1, info.srWindow.Right - info.srWindow.Left + 1);
}

bool WriteBytes(StandardStream stream, std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD done = 0;
    const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1 << 20));
    if (!::WriteFile(handle(stream), bytes.data(), size, &done, nullptr) || done == 0) return false;
    bytes.remove_prefix(done);
  }
  return true;
}

bool MakeFile(const std::string& path) {
  const std::wstring wide = nkutil::toWide(path).value_or(L"");
  const int file = _wopen(wide.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL, _S_IREAD | _S_IWRITE);
  return file >= 0 && _close(file) == 0;
}

const std::atomic<bool>& WatchInterrupts() {
  SetConsoleCtrlHandler(interrupt, TRUE);
  return interrupted;
}

void Leave(int code) {
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(code));
  __builtin_unreachable();
}

}  // namespace gpureport
