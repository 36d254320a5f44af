#pragma once

#include <string>
#include <vector>

#include "ocl/Device.h"

namespace ZOR::OCL {

/// One driver's OpenCL. Handles of platforms and devices are the driver's for good.
class Platform {
 public:
  explicit Platform(cl_platform_id handle) : fHandle(handle) {}

  cl_platform_id handle() const { return fHandle; }
  /// In the driver's order; empty when it has none of the type. Throws LogicalException.
  std::vector<Device> devices(cl_device_type type) const;
  /// CL_PLATFORM_NAME and CL_PLATFORM_VERSION with every byte that the driver gives. Throw
  /// LogicalException.
  std::string name() const { return text(CL_PLATFORM_NAME); }
  std::string version() const { return text(CL_PLATFORM_VERSION); }

 private:
  std::string text(cl_platform_info property) const;

  cl_platform_id fHandle;
};

/// In the ICD loader's order; empty when there is none. Throws LogicalException.
std::vector<Platform> platforms();

}  // namespace ZOR::OCL
