#include "win/WindowsApi.h"

#include "log/Diagnostic.h"
#include "zor/core/Library.h"

namespace {

// Opened by name: a machine may lack the DLL or one that it needs, and an import would end the run
// there. Of the system's DLLs used here it alone would be taken from the program's own folder
// first, where hosts keep wrappers that tell other stories.
HRESULT WINAPI createSystemDXGIFactory(REFIID id, void** factory) {
  decltype(&::CreateDXGIFactory) create = nullptr;
  try {
    ZOR::Core::DynamicLibrary("dxgi.dll").load("CreateDXGIFactory", create);
    if (!create) throw ZOR::LogicalException("dxgi.dll has no CreateDXGIFactory");
  } catch (const ZOR::LogicalException& exception) {
    Diagnostic{}(exception.what());
    return HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND);
  }
  return create(id, factory);
}

}  // namespace

WindowsApi windowsApi = {&createSystemDXGIFactory, &::CoInitializeEx, &::CoCreateInstance,
                         &::CoSetProxyBlanket,     &::CoUninitialize, &::GlobalMemoryStatusEx};
