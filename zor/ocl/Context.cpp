#include "ocl/Context.h"

#include "ocl/Status.h"

namespace ZOR::OCL {

Context::Context(const ContextProperties& properties, const Device& device,
                 const NotifyCallback& callback) {
  const cl_device_id deviceHandle = device.handle();
  cl_int status = CL_SUCCESS;
  const cl_context handle = ExtensionManager::instance()->table()->clCreateContext(
      properties.data(), 1, &deviceHandle, callback.function, callback.userData, &status);
  CheckStatus("clCreateContext", status);
  fHandle.reset(handle);
}

}  // namespace ZOR::OCL
