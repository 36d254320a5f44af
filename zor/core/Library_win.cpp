#include "zor/core/Library.h"

#include <windows.h>

#include "zor/core/SystemTexts_win.h"

namespace ZOR::Core {

// Only the system folder is searched: a library of that name beside the program or in the current
// folder must not be taken for the driver's.
// https://learn.microsoft.com/windows/win32/api/libloaderapi/nf-libloaderapi-loadlibraryexa
DynamicLibrary::DynamicLibrary(const char* name)
    : fName(name), fHandle(LoadLibraryExA(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
  if (!fHandle) throw LogicalException(SystemErrorText(name));
}

EntryPoint DynamicLibrary::symbol(const char* name) const {
  return reinterpret_cast<EntryPoint>(GetProcAddress(static_cast<HMODULE>(fHandle), name));
}

}  // namespace ZOR::Core
