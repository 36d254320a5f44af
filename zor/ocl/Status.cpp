#include "ocl/Status.h"

#include <string>

#include "core/Exceptions.h"

namespace ZOR::OCL {

void CheckStatus(const char* call, cl_int status) {
  if (status != CL_SUCCESS)
    throw LogicalException(std::string(call) + ": status " + std::to_string(status));
}

}  // namespace ZOR::OCL
