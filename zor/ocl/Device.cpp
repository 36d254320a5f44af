#include "ocl/Device.h"

#include "ocl/ExtensionManager.h"
#include "ocl/Platform.h"
#include "ocl/ReadText.h"
#include "ocl/Status.h"

namespace ZOR::OCL {

Platform Device::platform() const {
  return Platform(getInfo<cl_platform_id>(CL_DEVICE_PLATFORM));
}

void Device::getInfoImpl(cl_device_info property, size_t size, void* value,
                         size_t* sizeNeeded) const {
  CheckStatus("clGetDeviceInfo", ExtensionManager::instance()->table()->clGetDeviceInfo(
                                     fHandle, property, size, value, sizeNeeded));
}

std::string Device::text(cl_device_info property) const {
  std::string result;
  const auto query = [&](size_t size, void* value, size_t* needed) {
    return ExtensionManager::instance()->table()->clGetDeviceInfo(fHandle, property, size, value,
                                                                  needed);
  };
  CheckStatus("clGetDeviceInfo", ReadText(query, result));
  return result;
}

}  // namespace ZOR::OCL
