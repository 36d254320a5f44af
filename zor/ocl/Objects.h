#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zor/core/Exceptions.h"
#include "zor/ocl/Library.h"

// What OpenCL's host side is made of: platforms and their devices, contexts and queues, and owners
// for the rest.

namespace ZOR::OCL {

/// Throws LogicalException "call: status N" unless the status is CL_SUCCESS.
void CheckStatus(const char* call, cl_int status);

/// What OpenCL's header says of its constants.
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

class Platform;

/// A device of a platform, or no device (a null handle), of which nothing can be asked.
class Device {
 public:
  explicit Device(cl_device_id handle = nullptr) : fHandle(handle) {}

  cl_device_id handle() const { return fHandle; }
  /// The one that it belongs to. Throws LogicalException when the driver does not say.
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

  /// A text property with every byte that the driver gives, terminator and what follows it
  /// included; a size of 0 is an empty text. The status of the call that failed, else CL_SUCCESS; a
  /// size of more than a MiB is CL_INVALID_VALUE.
  cl_int getText(cl_device_info property, std::string& text) const;

 private:
  std::string text(cl_device_info property) const;

  cl_device_id fHandle;
};

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

/// Owns one OpenCL object, or none, and releases it once. Release is the member of EntryPoints
/// that does it; a status of its own is of no use to anybody and is dropped.
template <auto Release>
class ScopedHandle;

template <class Object, class Result, Result (CL_API_CALL* EntryPoints::*Release)(Object)>
class ScopedHandle<Release> {
 public:
  explicit ScopedHandle(Object object = nullptr) : fObject(object) {}
  /// A driver that throws through its C interface must not end the program here.
  ~ScopedHandle() {
    try {
      reset();
    } catch (...) {
    }
  }
  ScopedHandle(ScopedHandle&& other) noexcept : fObject(std::exchange(other.fObject, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    reset(std::exchange(other.fObject, nullptr));
    return *this;
  }

  Object get() const { return fObject; }
  /// Releases what is owned and owns the new object instead.
  void reset(Object object = nullptr) {
    if (const Object old = std::exchange(fObject, object)) (CL().*Release)(old);
  }

 private:
  Object fObject;
};

using ScopedBuffer = ScopedHandle<&EntryPoints::clReleaseMemObject>;
using ScopedEvent = ScopedHandle<&EntryPoints::clReleaseEvent>;
using ScopedKernel = ScopedHandle<&EntryPoints::clReleaseKernel>;
using ScopedProgram = ScopedHandle<&EntryPoints::clReleaseProgram>;

/// The property list of a context on one platform.
class ContextProperties {
 public:
  explicit ContextProperties(const Platform& platform)
      : fList{CL_CONTEXT_PLATFORM, reinterpret_cast<cl_context_properties>(platform.handle()), 0} {}

  const cl_context_properties* data() const { return fList; }

 private:
  cl_context_properties fList[3];
};

/// A context of one device.
class Context {
 public:
  /// Where the driver sends its notifications; an empty one receives none.
  struct NotifyCallback {
    void(CL_CALLBACK* function)(const char* text, const void* data, size_t size,
                                void* userData) = nullptr;
    void* userData = nullptr;
  };

  /// Throws LogicalException "clCreateContext: status N". What userData points to has to outlive
  /// the context.
  Context(const ContextProperties& properties, const Device& device,
          const NotifyCallback& callback);

  cl_context handle() const { return fHandle.get(); }

 private:
  ScopedHandle<&EntryPoints::clReleaseContext> fHandle;
};

/// A queue of one device.
class CommandQueue {
 public:
  /// Keeps the context alive by the driver's own count. Throws LogicalException
  /// "clCreateCommandQueue: status N".
  CommandQueue(const Context& context, const Device& device, bool outOfOrder, bool profiling);

  cl_command_queue handle() const { return fHandle.get(); }

 private:
  ScopedHandle<&EntryPoints::clReleaseCommandQueue> fHandle;
};

}  // namespace ZOR::OCL
