#include <windows.h>

#include <string>

#include "core/DynamicLibrary.h"
#include "core/Exceptions.h"

namespace ZOR::Core {
namespace {

std::string systemText(DWORD error) {
  char text[512];
  DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                error, 0, text, sizeof text, nullptr);
  while (length > 0 && static_cast<unsigned char>(text[length - 1]) <= ' ') --length;
  if (length == 0) return "error " + std::to_string(error);
  return std::string(text, length);
}

}  // namespace

// Only the system folder is searched: a library of that name beside the program or in the
// current folder must not be taken for the driver's.
// https://learn.microsoft.com/windows/win32/api/libloaderapi/nf-libloaderapi-loadlibraryexa
DynamicLibrary::DynamicLibrary(const char* name)
    : fHandle(LoadLibraryExA(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
  if (!fHandle) throw LogicalException(std::string(name) + ": " + systemText(GetLastError()));
}

EntryPoint DynamicLibrary::symbol(const char* name) const {
  return reinterpret_cast<EntryPoint>(GetProcAddress(static_cast<HMODULE>(fHandle), name));
}

}  // namespace ZOR::Core
