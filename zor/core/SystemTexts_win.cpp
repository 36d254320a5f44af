#include "zor/core/SystemTexts_win.h"

#include <windows.h>

#include "zor/core/Exceptions.h"

namespace ZOR::Core {

std::string EscapedAscii(const wchar_t* text) {
  std::string result;
  for (; text && *text; ++text) {
    const unsigned unit = static_cast<char16_t>(*text);
    if (unit >= 32 && unit <= 126) {
      result += static_cast<char>(unit);
      continue;
    }
    result += "\\x";
    for (int shift = 12; shift >= 0; shift -= 4) result += "0123456789abcdef"[unit >> shift & 15];
  }
  return result;
}

std::string Utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string bytes(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes.data(), size, nullptr, nullptr);
  bytes.pop_back();
  return bytes;
}

std::wstring Utf16(const std::string& text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  if (size <= 1) return {};
  std::wstring units(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, units.data(), size);
  units.pop_back();
  return units;
}

std::string SystemErrorText(const std::string& call) {
  const DWORD error = GetLastError();
  char text[512];
  DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                error, 0, static_cast<char*>(text), sizeof text, nullptr);
  while (length > 0 && static_cast<unsigned char>(text[length - 1]) <= ' ') --length;
  if (length == 0) return call + ": error " + std::to_string(error);
  return call + ": " + std::string(static_cast<char*>(text), length);
}

void ThrowSystemError(const char* call) {
  throw LogicalException(SystemErrorText(call));
}

}  // namespace ZOR::Core
