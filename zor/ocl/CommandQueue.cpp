#include "ocl/CommandQueue.h"

#include "ocl/Status.h"

namespace ZOR::OCL {

CommandQueue::CommandQueue(const Context& context, const Device& device, bool outOfOrder,
                           bool profiling) {
  cl_command_queue_properties properties = 0;
  if (outOfOrder) properties |= CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE;
  if (profiling) properties |= CL_QUEUE_PROFILING_ENABLE;
  cl_int status = CL_SUCCESS;
  const cl_command_queue handle = ExtensionManager::instance()->table()->clCreateCommandQueue(
      context.handle(), device.handle(), properties, &status);
  CheckStatus("clCreateCommandQueue", status);
  fHandle.reset(handle);
}

}  // namespace ZOR::OCL
