#pragma once

#include "ocl/Context.h"

namespace ZOR::OCL {

/// A queue of one device.
class CommandQueue {
 public:
  /// Throws LogicalException.
  CommandQueue(const Context& context, const Device& device, bool outOfOrder, bool profiling);

  cl_command_queue handle() const { return fHandle.get(); }

 private:
  ScopedHandle<&EntryPoints::clReleaseCommandQueue> fHandle;
};

}  // namespace ZOR::OCL
