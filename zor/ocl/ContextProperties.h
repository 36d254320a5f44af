#pragma once

#include "ocl/Platform.h"

namespace ZOR::OCL {

/// The property list of a context on one platform.
class ContextProperties {
 public:
  explicit ContextProperties(const Platform& platform)
      : fList{CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform.handle()), 0} {}

  const cl_context_properties* data() const { return fList; }

 private:
  cl_context_properties fList[3];
};

}  // namespace ZOR::OCL
