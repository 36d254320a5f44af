#include "ocl/Library.h"

#include "core/Exceptions.h"

namespace ZOR::OCL {

bool Library::IsOpenCLAvailable(std::string& reason) {
  reason = "this build has no OpenCL side yet";
  return false;
}

void Library::Initialize() {
  std::string reason;
  if (!IsOpenCLAvailable(reason)) throw LogicalException(reason);
}

}  // namespace ZOR::OCL
