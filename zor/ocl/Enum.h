#pragma once

#include "ocl/CLHeaders.h"

namespace ZOR::OCL {

class Enum {
 public:
  /// The type that OpenCL declares for a device property, "cl_uint" for example; empty for a
  /// property that this library does not know.
  static const char* GetPropertyTypeName(cl_device_info property);
};

/// The name under which GetPropertyTypeName() knows a type. cl_bool is the same C type as cl_uint
/// and cannot be told from it.
template <class Value>
constexpr const char* kTypeName = nullptr;
template <>
inline constexpr const char* kTypeName<cl_uint> = "cl_uint";
template <>
inline constexpr const char* kTypeName<cl_ulong> = "cl_ulong";
template <>
inline constexpr const char* kTypeName<cl_platform_id> = "cl_platform_id";

}  // namespace ZOR::OCL
