#include "zor/core/SystemError_win.h"

#include <windows.h>

#include "zor/core/Exceptions.h"

namespace ZOR::Core {

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
