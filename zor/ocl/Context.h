#pragma once

#include "ocl/ContextProperties.h"
#include "ocl/ScopedHandle.h"

namespace ZOR::OCL {

/// A context of one device.
class Context {
 public:
  /// Where the driver sends its notifications; an empty one receives none.
  struct NotifyCallback {
    void(CL_CALLBACK* function)(const char* text, const void* data, size_t size,
                                void* userData) = nullptr;
    void* userData = nullptr;
  };

  /// Throws LogicalException.
  Context(const ContextProperties& properties, const Device& device,
          const NotifyCallback& callback);

  cl_context handle() const { return fHandle.get(); }

 private:
  ScopedHandle<&EntryPoints::clReleaseContext> fHandle;
};

}  // namespace ZOR::OCL
