#pragma once

#include "ocl/CLHeaders.h"

namespace ZOR::OCL {

/// Throws LogicalException "call: status N" unless the status is CL_SUCCESS.
void CheckStatus(const char* call, cl_int status);

}  // namespace ZOR::OCL
