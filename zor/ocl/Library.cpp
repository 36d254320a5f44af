#include "ocl/Library.h"

#include "core/Exceptions.h"
#include "core/Library.h"
#include "ocl/ExtensionManager.h"
#include "ocl/Platform.h"

namespace ZOR::OCL {

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
