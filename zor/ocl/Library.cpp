#include "zor/ocl/Library.h"

#include "zor/core/Library.h"
#include "zor/ocl/Objects.h"

namespace ZOR::OCL {
namespace {

/// The ICD loader's library as the system calls it.
constexpr const char* kLoaderLibrary = ZOR_OPENCL_LIBRARY;

ExtensionManager* replacement = nullptr;

}  // namespace

EntryPoints LoadEntryPoints() {
  const Core::DynamicLibrary library(kLoaderLibrary);
  EntryPoints table;
#define ZOR_CL_LOAD(name) library.require(#name, table.name);
  ZOR_CL_ENTRY_POINTS(ZOR_CL_LOAD)
#undef ZOR_CL_LOAD
  return table;
}

ExtensionManager* ExtensionManager::instance() {
  if (replacement) return replacement;
  static ExtensionManager system(LoadEntryPoints());
  return &system;
}

void ExtensionManager::Replace(ExtensionManager* manager) {
  replacement = manager;
}

bool Library::IsOpenCLAvailable(std::string& reason) {
  try {
    ExtensionManager::instance();
    return true;
  } catch (const LogicalException& e) {
    reason = e.what();
    return false;
  }
}

void Library::Initialize() {
  if (!Core::Library::IsInitialized()) throw LogicalException("ZOR::Core is not initialized");
  platforms();
}

}  // namespace ZOR::OCL
