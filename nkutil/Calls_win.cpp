#include <windows.h>

#include <system_error>

#include "nkutil/Calls.h"
#include "nkutil/Handle.h"
#include "nkutil/Text_win.h"

namespace nkutil {

void WinHandleTraits::close(void* handle) {
  const DWORD kept = GetLastError();
  CloseHandle(handle);
  SetLastError(kept);
}

int systemError() {
  return static_cast<int>(GetLastError());
}

void setSystemError(int error) {
  SetLastError(static_cast<DWORD>(error));
}

std::string systemErrorText(int error) {
  wchar_t* text = nullptr;
  const DWORD size = FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, static_cast<DWORD>(error), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  if (size == 0) return "unknown error";
  std::string all = toUtf8({text, size});
  LocalFree(text);
  all.erase(all.find_last_not_of(" \r\n") + 1);
  return all;
}

std::uint32_t currentThreadNumber() {
  return GetCurrentThreadId();
}

std::thread startThread(std::function<void()> body) {
  if (systemCall(Call::Thread, -1, [] { return 0; }) != 0) return {};
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error&) {
    SetLastError(ERROR_MAX_THRDS_REACHED);
    return {};
  }
}

std::optional<std::wstring> toWide(std::string_view text) {
  std::wstring wide;
  if (text.empty()) return wide;
  const int size = static_cast<int>(text.size());
  wide.resize(text.size());  // never more units than bytes
  const int count =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), size, wide.data(), size);
  if (count == 0) return std::nullopt;
  wide.resize(static_cast<std::size_t>(count));
  return wide;
}

std::string toUtf8(std::wstring_view text) {
  std::string narrow(text.size() * 3, '\0');
  if (text.empty()) return narrow;
  const int count =
      WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), narrow.data(),
                          static_cast<int>(narrow.size()), nullptr, nullptr);
  narrow.resize(static_cast<std::size_t>(count));
  return narrow;
}

}  // namespace nkutil
