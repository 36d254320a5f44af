#pragma once

#include <string>
#include <string_view>

#include "core/Exceptions.h"
#include "ocl/CLHeaders.h"
#include "ocl/Enum.h"

namespace ZOR::OCL {

class Platform;

/// A device of a platform, or no device (a null handle), of which nothing can be asked.
class Device {
 public:
  explicit Device(cl_device_id handle = nullptr) : fHandle(handle) {}

  cl_device_id handle() const { return fHandle; }
  Platform platform() const;
  /// CL_DEVICE_NAME and CL_DEVICE_VENDOR with every byte that the driver gives. Throw
  /// LogicalException.
  std::string name() const { return text(CL_DEVICE_NAME); }
  std::string vendor() const { return text(CL_DEVICE_VENDOR); }

  /// A property of fixed size. Throws InternalException when the property is not of that type,
  /// and LogicalException when the driver does not answer.
  template <class Value>
  Value getInfo(cl_device_info property) const {
    const std::string_view property_typename = Enum::GetPropertyTypeName(property);
    const std::string_view type_name = kTypeName<Value>;
    if (property_typename != type_name)
      throw InternalException("zor/zor_ocl/Device", 122, "property_typename == type_name");
    Value value{};
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a handle is the value, not what it points to
    getInfoImpl(property, sizeof(Value), &value, nullptr);
    return value;
  }
  /// clGetDeviceInfo as it is. Throws LogicalException for every status but CL_SUCCESS.
  void getInfoImpl(cl_device_info property, size_t size, void* value, size_t* sizeNeeded) const;

 private:
  std::string text(cl_device_info property) const;

  cl_device_id fHandle;
};

}  // namespace ZOR::OCL
