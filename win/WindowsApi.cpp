#include "WindowsApi.h"

namespace {

// The DLL is loaded at this first call. Of the system's DLLs used here it alone would be taken from
// the program's own folder first, where hosts keep wrappers that tell other stories.
HRESULT WINAPI createSystemDXGIFactory(REFIID id, void** factory) {
  LoadLibraryExA("dxgi.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
  return ::CreateDXGIFactory(id, factory);
}

}  // namespace

WindowsApi windowsApi = {&createSystemDXGIFactory, &::CoInitializeEx, &::CoCreateInstance,
                         &::CoSetProxyBlanket,     &::CoUninitialize, &::GlobalMemoryStatusEx};
