#include <cstdlib>
#include <vector>

#include "gpu/CLMeasurement.h"
#include "gpu/GPUImplHardware.h"

using namespace ZOR::OCL;

namespace {

constexpr cl_uint kLength = 1'048'576;
constexpr size_t kWorkGroup = 64;

// clang-format off
#define SEVEN_TABS "\t\t\t\t\t\t\t"
/// One line: figures compare across versions only as long as no character of it changes.
constexpr char kKernelText[] =
    "__kernel void justIterate( __global float* v, unsigned int len ){" SEVEN_TABS
    "  int gid = get_global_id(0);" SEVEN_TABS
    "  if(gid>=len) return;" SEVEN_TABS
    "  float data = v[gid];" SEVEN_TABS
    "  float variant = (float)(gid % 3);" SEVEN_TABS
    "  for ( int i = 0 ; i < 4096; i++){" SEVEN_TABS
    "  data = data  *  1.2f * variant ;" SEVEN_TABS
    "  }" SEVEN_TABS
    "  v [ gid ] = data ;" SEVEN_TABS
    "  }";
#undef SEVEN_TABS
// clang-format on
static_assert(sizeof kKernelText - 1 == 331);

std::vector<cl_float> randomFloats() {
  std::vector<cl_float> values(kLength);
  for (cl_float& value : values) value = static_cast<cl_float>(std::rand());
  return values;
}

ScopedProgram buildProgram(const Context& context) {
  cl_int ciErrNum = CL_SUCCESS;
  const char* text = kKernelText;
  const cl_program handle =
      CL().clCreateProgramWithSource(context.handle(), 1, &text, nullptr, &ciErrNum);
  RequireCLSuccess(ciErrNum);
  ScopedProgram program(handle);
  RequireCLSuccess(CL().clBuildProgram(handle, 0, nullptr, nullptr, nullptr, nullptr));
  return program;
}

ScopedKernel createKernel(const ScopedProgram& program) {
  cl_int ciErrNum = CL_SUCCESS;
  const cl_kernel kernel = CL().clCreateKernel(program.get(), "justIterate", &ciErrNum);
  RequireCLSuccess(ciErrNum);
  return ScopedKernel(kernel);
}

ScopedBuffer createBuffer(const Context& context, std::vector<cl_float>& values) {
  cl_int ciErrNum = CL_SUCCESS;
  const cl_mem buffer =
      CL().clCreateBuffer(context.handle(), CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                          values.size() * sizeof values[0], values.data(), &ciErrNum);
  RequireCLSuccess(ciErrNum);
  return ScopedBuffer(buffer);
}

void setArguments(const ScopedKernel& kernel, const ScopedBuffer& buffer) {
  const cl_mem v = buffer.get();
  const cl_uint len = kLength;
  RequireCLSuccess(CL().clSetKernelArg(kernel.get(), 0, sizeof(cl_mem), &v));
  RequireCLSuccess(CL().clSetKernelArg(kernel.get(), 1, sizeof len, &len));
}

ScopedEvent enqueueKernel(const CommandQueue& queue, const ScopedKernel& kernel) {
  const size_t global = kLength;
  const size_t local = kWorkGroup;
  cl_event event = nullptr;
  const cl_int ciErrNum = CL().clEnqueueNDRangeKernel(queue.handle(), kernel.get(), 1, nullptr,
                                                      &global, &local, 0, nullptr, &event);
  RequireCLSuccess(ciErrNum);
  return ScopedEvent(event);
}

}  // namespace

double GPUImplHardware::DoGetCLCompute() {
  constexpr char operation[] = "GPUImplHardware::DoGetCLCompute";
  const CLMeasurement measurement(clDevice, operation);
  const double t = MeasureCLCompute(measurement.context(), measurement.queue());
  Diagnostic{}("timeForKernelExecution=", t);
  Diagnostic{}(operation, ": result=", t);
  return t;
}

double GPUImplHardware::MeasureCLCompute(const Context& context, const CommandQueue& queue) {
  std::vector<cl_float> values = randomFloats();
  const ScopedProgram program = buildProgram(context);
  const ScopedKernel kernel = createKernel(program);
  const ScopedBuffer buffer = createBuffer(context, values);
  setArguments(kernel, buffer);
  const ScopedEvent event = enqueueKernel(queue, kernel);
  const cl_event finished = event.get();
  RequireCLSuccess(CL().clWaitForEvents(1, &finished));
  const double t = CLEventSeconds(finished);
  Diagnostic{}("GPUImplHardware::MeasureCLCompute", ": result=", t);
  return t;
}
