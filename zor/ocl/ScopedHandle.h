#pragma once

#include <utility>

#include "ocl/ExtensionManager.h"

namespace ZOR::OCL {

/// Owns one OpenCL object, or none, and releases it once. Release is the member of EntryPoints
/// that does it; a status of its own is of no use to anybody and is dropped.
template <auto Release>
class ScopedHandle;

template <class Object, class Result, Result (CL_API_CALL* EntryPoints::*Release)(Object)>
class ScopedHandle<Release> {
 public:
  explicit ScopedHandle(Object object = nullptr) : fObject(object) {}
  ~ScopedHandle() { reset(); }
  ScopedHandle(ScopedHandle&& other) noexcept : fObject(std::exchange(other.fObject, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    reset(std::exchange(other.fObject, nullptr));
    return *this;
  }

  Object get() const { return fObject; }
  /// Releases what is owned and owns the new object instead.
  void reset(Object object = nullptr) {
    if (const Object old = std::exchange(fObject, object))
      (ExtensionManager::instance()->table()->*Release)(old);
  }

 private:
  Object fObject;
};

using ScopedBuffer = ScopedHandle<&EntryPoints::clReleaseMemObject>;
using ScopedEvent = ScopedHandle<&EntryPoints::clReleaseEvent>;
using ScopedKernel = ScopedHandle<&EntryPoints::clReleaseKernel>;
using ScopedProgram = ScopedHandle<&EntryPoints::clReleaseProgram>;

}  // namespace ZOR::OCL
