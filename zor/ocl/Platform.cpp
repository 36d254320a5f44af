#include "ocl/Platform.h"

#include <algorithm>

#include "ocl/ExtensionManager.h"
#include "ocl/ReadText.h"
#include "ocl/Status.h"

namespace ZOR::OCL {
namespace {

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
  std::vector<Handle> handles(count);
  cl_uint found = 0;
  CheckStatus(call, query(count, handles.data(), &found));
  handles.resize(std::min(count, found));
  return std::vector<Wrapper>(handles.begin(), handles.end());
}

}  // namespace

std::vector<Device> Platform::devices(cl_device_type type) const {
  const auto query = [&](cl_uint size, cl_device_id* handles, cl_uint* count) {
    return ExtensionManager::instance()->table()->clGetDeviceIDs(fHandle, type, size, handles,
                                                                 count);
  };
  return list<Device, cl_device_id>("clGetDeviceIDs", CL_DEVICE_NOT_FOUND, query);
}

std::string Platform::text(cl_platform_info property) const {
  std::string result;
  const auto query = [&](size_t size, void* value, size_t* needed) {
    return ExtensionManager::instance()->table()->clGetPlatformInfo(fHandle, property, size, value,
                                                                    needed);
  };
  CheckStatus("clGetPlatformInfo", ReadText(query, result));
  return result;
}

std::vector<Platform> platforms() {
  const auto query = ExtensionManager::instance()->table()->clGetPlatformIDs;
  return list<Platform, cl_platform_id>("clGetPlatformIDs", kPlatformNotFound, query);
}

}  // namespace ZOR::OCL
