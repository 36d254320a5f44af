#include "ocl/Enum.h"

namespace ZOR::OCL {

const char* Enum::GetPropertyTypeName(cl_device_info property) {
  switch (property) {
    case CL_DEVICE_VENDOR_ID:
      return "cl_uint";
    case CL_DEVICE_GLOBAL_MEM_SIZE:
    case CL_DEVICE_TYPE:
      return "cl_ulong";
    case CL_DEVICE_HOST_UNIFIED_MEMORY:
      return "cl_bool";
    case CL_DEVICE_PLATFORM:
      return "cl_platform_id";
    case CL_DEVICE_NAME:
    case CL_DEVICE_VENDOR:
    case CL_DEVICE_VERSION:
    case CL_DRIVER_VERSION:
      return "char[]";
    default:
      return "";
  }
}

}  // namespace ZOR::OCL
