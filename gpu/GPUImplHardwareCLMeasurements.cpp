#include <algorithm>
#include <array>
#include <cstdlib>
#include <numeric>
#include <vector>

#include "gpu/GPUImplHardware.h"
#include "log/Diagnostic.h"
#include "log/ReportFailure.h"
#include "zor/ocl/Objects.h"

using namespace ZOR::OCL;

namespace {

/// Ends the question unless the OpenCL call before it succeeded.
void requireCLSuccess(cl_int ciErrNum) {
  if (ciErrNum != CL_SUCCESS) FailRequirement("Failed requirement: ciErrNum == CL_SUCCESS");
}

Context createContext(const Device& device, const char* operation) {
  const ContextProperties properties(device.platform());
  Diagnostic{}(operation, ": ZOR::OCL::Context context(properties, *iDev);");
  return Context(properties, device, Context::NotifyCallback());
}

CommandQueue createQueue(const Context& context, const Device& device, const char* operation) {
  Diagnostic{}(operation, ": ZOR::OCL::CommandQueue cq(context, *iDev, false, true);");
  return CommandQueue(context, device, false, true);
}

/// A context of one device and an in-order queue on it whose events carry the device's own times.
/// Both log lines begin with the operation's name.
class CLMeasurement {
 public:
  /// Throws ZOR::LogicalException.
  CLMeasurement(const Device& device, const char* operation)
      : fContext(createContext(device, operation)),
        fQueue(createQueue(fContext, device, operation)) {}

  const Context& context() const { return fContext; }
  const CommandQueue& queue() const { return fQueue; }

 private:
  Context fContext;
  CommandQueue fQueue;
};

cl_ulong profilingTime(cl_event event, cl_profiling_info which) {
  cl_ulong nanoseconds = 0;
  requireCLSuccess(
      CL().clGetEventProfilingInfo(event, which, sizeof nanoseconds, &nanoseconds, nullptr));
  return nanoseconds;
}

/// Seconds from the start of the event's command to its end on the device. An end before the start
/// is a huge time, as the difference of unsigned nanoseconds; a time that the driver refuses ends
/// the question.
double eventSeconds(cl_event event) {
  const cl_ulong end = profilingTime(event, CL_PROFILING_COMMAND_END);
  const cl_ulong start = profilingTime(event, CL_PROFILING_COMMAND_START);
  return static_cast<double>(end - start) * 1e-9;
}

ScopedBuffer createBuffer(const Context& context, cl_mem_flags flags, size_t bytes,
                          void* content = nullptr) {
  cl_int ciErrNum = CL_SUCCESS;
  const cl_mem buffer = CL().clCreateBuffer(context.handle(), flags, bytes, content, &ciErrNum);
  // Drivers check their handles, but a kernel runs with a null buffer.
  requireCLSuccess(ciErrNum == CL_SUCCESS && !buffer ? CL_INVALID_MEM_OBJECT : ciErrNum);
  return ScopedBuffer(buffer);
}

// The rate of copies.

constexpr size_t kBufferBytes = 16'777'216;
constexpr unsigned kCopiesPerBatch = std::tuple_size_v<CLCopyEvents>;
constexpr unsigned kMaximumCopies = 100;
constexpr double kMaximumSeconds = 1.0;
/// Every copy reads the whole buffer and writes it.
constexpr double kBytesPerBatch = 2.0 * kCopiesPerBatch * kBufferBytes;

constexpr char kCheck[] = "GPUImplHardware::checkBandwidthCL";

void enqueueCopies(cl_command_queue queue, cl_mem source, cl_mem destination,
                   CLCopyEvents& events) {
  // The events of the batch before would be lost under the new ones.
  for (ScopedEvent& event : events) event.reset();
  for (ScopedEvent& event : events) {
    cl_event copy = nullptr;
    const cl_int ciErrNum =
        CL().clEnqueueCopyBuffer(queue, source, destination, 0, 0, kBufferBytes, 0, nullptr, &copy);
    requireCLSuccess(ciErrNum);
    event.reset(copy);
  }
}

// The time of a kernel.

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
  requireCLSuccess(ciErrNum);
  ScopedProgram program(handle);
  requireCLSuccess(CL().clBuildProgram(handle, 0, nullptr, nullptr, nullptr, nullptr));
  return program;
}

ScopedKernel createKernel(const ScopedProgram& program) {
  cl_int ciErrNum = CL_SUCCESS;
  const cl_kernel kernel = CL().clCreateKernel(program.get(), "justIterate", &ciErrNum);
  requireCLSuccess(ciErrNum);
  return ScopedKernel(kernel);
}

void setArguments(const ScopedKernel& kernel, const ScopedBuffer& buffer) {
  const cl_mem v = buffer.get();
  const cl_uint len = kLength;
  requireCLSuccess(CL().clSetKernelArg(kernel.get(), 0, sizeof(cl_mem), &v));
  requireCLSuccess(CL().clSetKernelArg(kernel.get(), 1, sizeof len, &len));
}

ScopedEvent enqueueKernel(const CommandQueue& queue, const ScopedKernel& kernel) {
  const size_t global = kLength;
  const size_t local = kWorkGroup;
  cl_event event = nullptr;
  const cl_int ciErrNum = CL().clEnqueueNDRangeKernel(queue.handle(), kernel.get(), 1, nullptr,
                                                      &global, &local, 0, nullptr, &event);
  requireCLSuccess(ciErrNum);
  return ScopedEvent(event);
}

}  // namespace

double GPUImplHardware::DoGetCLBandwidth() {
  constexpr char operation[] = "GPUImplHardware::DoGetCLBandwidth";
  const CLMeasurement measurement(clDevice, operation);
  const double result = checkBandwidthCL(measurement.context(), measurement.queue());
  Diagnostic{}("bytesPerSecond=", result);
  Diagnostic{}(operation, ": result=", result);
  return result;
}

double GPUImplHardware::checkBandwidthCL(const Context& context, const CommandQueue& queue) {
  Diagnostic{}(kCheck, ": clCreateBuffer d_idata nbytes=", kBufferBytes);
  const ScopedBuffer d_idata = createBuffer(context, CL_MEM_READ_ONLY, kBufferBytes);
  Diagnostic{}(kCheck, ": clCreateBuffer d_odata nbytes=", kBufferBytes);
  const ScopedBuffer d_odata = createBuffer(context, CL_MEM_WRITE_ONLY, kBufferBytes);
  CL().clFinish(queue.handle());
  Diagnostic{}(kCheck, ": clFinish");
  Diagnostic{}(kCheck, ": copy ", kMaximumCopies, " iterations");

  CLCopyEvents events;
  double totalSeconds = 0.0;
  double maxBW = 0.0;
  for (unsigned count = 0; totalSeconds < kMaximumSeconds && count < kMaximumCopies;
       count += kCopiesPerBatch) {
    const double seconds = timeBandwidthCL(queue, d_idata.get(), d_odata.get(), events);
    Diagnostic{}(kCheck, ": seconds=", seconds);
    if (!(seconds > 0)) continue;
    totalSeconds += seconds;
    const double BW = kBytesPerBatch / seconds;
    maxBW = std::max(maxBW, BW);
    Diagnostic{}(kCheck, ": totalSeconds=", totalSeconds, ", BW=", BW, ", maxBW=", maxBW);
  }

  CL().clFinish(queue.handle());
  Diagnostic{}(kCheck, ": clFinish");
  Diagnostic{}(kCheck, ": releasing");
  for (ScopedEvent& event : events) event.reset();
  Diagnostic{}(kCheck, ": result=", maxBW);
  return maxBW;
}

double GPUImplHardware::timeBandwidthCL(const CommandQueue& queue, cl_mem source,
                                        cl_mem destination, CLCopyEvents& events) {
  double totalSeconds = 0.0;
  try {
    enqueueCopies(queue.handle(), source, destination, events);
    CL().clFinish(queue.handle());
    // Summed only when all were read: the time of four copies would make the batch the best one.
    std::array<double, kCopiesPerBatch> seconds{};
    std::transform(events.begin(), events.end(), seconds.begin(),
                   [](const ScopedEvent& event) { return eventSeconds(event.get()); });
    totalSeconds = std::accumulate(seconds.begin(), seconds.end(), 0.0);
    Diagnostic{}("GPUImplHardware::timeBandwidthCL", ": totalSeconds=", totalSeconds);
  } catch (...) {
    // The failed batch has been reported; the others may do.
  }
  return totalSeconds;
}

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
  const ScopedBuffer buffer = createBuffer(context, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                                           values.size() * sizeof values[0], values.data());
  setArguments(kernel, buffer);
  const ScopedEvent event = enqueueKernel(queue, kernel);
  const cl_event finished = event.get();
  requireCLSuccess(CL().clWaitForEvents(1, &finished));
  const double t = eventSeconds(finished);
  Diagnostic{}("GPUImplHardware::MeasureCLCompute", ": result=", t);
  return t;
}
