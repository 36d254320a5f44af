#include "zor/ocl/Objects.h"

#include <algorithm>

namespace ZOR::OCL {
namespace {

/// No driver's text comes near this; a larger size is a driver's mistake.
constexpr size_t kLongestText = 1U << 20;

/// Asks one of the clGet...Info functions for the size, then for the bytes.
template <class Query>
cl_int readText(const Query& query, std::string& text) {
  size_t size = 0;
  if (const cl_int status = query(0, nullptr, &size); status != CL_SUCCESS) return status;
  if (size > kLongestText) return CL_INVALID_VALUE;
  text.assign(size, '\0');
  return size == 0 ? CL_SUCCESS : query(size, text.data(), nullptr);
}

/// No machine has as many devices or platforms; a larger number is a driver's mistake.
constexpr cl_uint kMostHandles = 4096;

/// CL_PLATFORM_NOT_FOUND_KHR of cl_khr_icd.
constexpr cl_int kPlatformNotFound = -1001;

/// Asks how many there are, then for the handles. The status that says "none" gives no handles.
template <class Wrapper, class Handle, class Query>
std::vector<Wrapper> list(const char* call, cl_int noneFound, const Query& query) {
  cl_uint count = 0;
  const cl_int status = query(0, static_cast<Handle*>(nullptr), &count);
  if (status == noneFound) return {};
  CheckStatus(call, status);
  if (count == 0) return {};
  if (count > kMostHandles)
    throw LogicalException(std::string(call) + ": " + std::to_string(count) + " found");
  std::vector<Handle> handles(count);
  cl_uint found = 0;
  CheckStatus(call, query(count, handles.data(), &found));
  handles.resize(std::min(count, found));
  return std::vector<Wrapper>(handles.begin(), handles.end());
}

}  // namespace

void CheckStatus(const char* call, cl_int status) {
  if (status != CL_SUCCESS)
    throw LogicalException(std::string(call) + ": status " + std::to_string(status));
}

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

Platform Device::platform() const {
  return Platform(getInfo<cl_platform_id>(CL_DEVICE_PLATFORM));
}

void Device::getInfoImpl(cl_device_info property, size_t size, void* value,
                         size_t* sizeNeeded) const {
  CheckStatus("clGetDeviceInfo", CL().clGetDeviceInfo(fHandle, property, size, value, sizeNeeded));
}

cl_int Device::getText(cl_device_info property, std::string& text) const {
  const auto query = [&](size_t size, void* value, size_t* needed) {
    return CL().clGetDeviceInfo(fHandle, property, size, value, needed);
  };
  return readText(query, text);
}

std::string Device::text(cl_device_info property) const {
  std::string result;
  CheckStatus("clGetDeviceInfo", getText(property, result));
  return result;
}

std::vector<Device> Platform::devices(cl_device_type type) const {
  const auto query = [&](cl_uint size, cl_device_id* handles, cl_uint* count) {
    return CL().clGetDeviceIDs(fHandle, type, size, handles, count);
  };
  return list<Device, cl_device_id>("clGetDeviceIDs", CL_DEVICE_NOT_FOUND, query);
}

std::string Platform::text(cl_platform_info property) const {
  std::string result;
  const auto query = [&](size_t size, void* value, size_t* needed) {
    return CL().clGetPlatformInfo(fHandle, property, size, value, needed);
  };
  CheckStatus("clGetPlatformInfo", readText(query, result));
  return result;
}

std::vector<Platform> platforms() {
  const auto query = CL().clGetPlatformIDs;
  return list<Platform, cl_platform_id>("clGetPlatformIDs", kPlatformNotFound, query);
}

Context::Context(const ContextProperties& properties, const Device& device,
                 const NotifyCallback& callback) {
  const cl_device_id deviceHandle = device.handle();
  cl_int status = CL_SUCCESS;
  const cl_context handle = CL().clCreateContext(properties.data(), 1, &deviceHandle,
                                                 callback.function, callback.userData, &status);
  CheckStatus("clCreateContext", status);
  fHandle.reset(handle);
}

CommandQueue::CommandQueue(const Context& context, const Device& device, bool outOfOrder,
                           bool profiling) {
  cl_command_queue_properties properties = 0;
  if (outOfOrder) properties |= CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE;
  if (profiling) properties |= CL_QUEUE_PROFILING_ENABLE;
  cl_int status = CL_SUCCESS;
  const cl_command_queue handle =
      CL().clCreateCommandQueue(context.handle(), device.handle(), properties, &status);
  CheckStatus("clCreateCommandQueue", status);
  fHandle.reset(handle);
}

}  // namespace ZOR::OCL
