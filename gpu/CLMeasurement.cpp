#include "gpu/CLMeasurement.h"

#include "log/ReportFailure.h"

using namespace ZOR::OCL;

namespace {

Context createContext(const Device& device, const char* operation) {
  const ContextProperties properties(device.platform());
  Diagnostic{}(operation, ": ZOR::OCL::Context context(properties, *iDev);");
  return Context(properties, device, Context::NotifyCallback());
}

CommandQueue createQueue(const Context& context, const Device& device, const char* operation) {
  Diagnostic{}(operation, ": ZOR::OCL::CommandQueue cq(context, *iDev, false, true);");
  return CommandQueue(context, device, false, true);
}

cl_ulong profilingTime(cl_event event, cl_profiling_info which) {
  cl_ulong nanoseconds = 0;
  RequireCLSuccess(
      CL().clGetEventProfilingInfo(event, which, sizeof nanoseconds, &nanoseconds, nullptr));
  return nanoseconds;
}

}  // namespace

CLMeasurement::CLMeasurement(const Device& device, const char* operation)
    : fContext(createContext(device, operation)),
      fQueue(createQueue(fContext, device, operation)) {}

void RequireCLSuccess(cl_int ciErrNum) {
  if (ciErrNum != CL_SUCCESS) FailRequirement("Failed requirement: ciErrNum == CL_SUCCESS");
}

double CLEventSeconds(cl_event event) {
  const cl_ulong end = profilingTime(event, CL_PROFILING_COMMAND_END);
  const cl_ulong start = profilingTime(event, CL_PROFILING_COMMAND_START);
  return static_cast<double>(end - start) * 1e-9;
}
