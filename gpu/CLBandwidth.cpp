#include <algorithm>
#include <array>
#include <numeric>

#include "gpu/CLMeasurement.h"
#include "gpu/GPUImplHardware.h"

using namespace ZOR::OCL;

namespace {

constexpr size_t kBufferBytes = 16'777'216;
constexpr unsigned kCopiesPerBatch = std::tuple_size_v<CLCopyEvents>;
constexpr unsigned kMaximumCopies = 100;
constexpr double kMaximumSeconds = 1.0;
/// Every copy reads the whole buffer and writes it.
constexpr double kBytesPerBatch = 2.0 * kCopiesPerBatch * kBufferBytes;

constexpr char kCheck[] = "GPUImplHardware::checkBandwidthCL";

ScopedBuffer createBuffer(const Context& context, cl_mem_flags flags) {
  cl_int ciErrNum = CL_SUCCESS;
  const cl_mem buffer =
      CL().clCreateBuffer(context.handle(), flags, kBufferBytes, nullptr, &ciErrNum);
  RequireCLSuccess(ciErrNum);
  return ScopedBuffer(buffer);
}

void enqueueCopies(cl_command_queue queue, cl_mem source, cl_mem destination,
                   CLCopyEvents& events) {
  // The events of the batch before would be lost under the new ones.
  for (ScopedEvent& event : events) event.reset();
  for (ScopedEvent& event : events) {
    cl_event copy = nullptr;
    const cl_int ciErrNum =
        CL().clEnqueueCopyBuffer(queue, source, destination, 0, 0, kBufferBytes, 0, nullptr, &copy);
    RequireCLSuccess(ciErrNum);
    event.reset(copy);
  }
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
  const ScopedBuffer d_idata = createBuffer(context, CL_MEM_READ_ONLY);
  Diagnostic{}(kCheck, ": clCreateBuffer d_odata nbytes=", kBufferBytes);
  const ScopedBuffer d_odata = createBuffer(context, CL_MEM_WRITE_ONLY);
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
                   [](const ScopedEvent& event) { return CLEventSeconds(event.get()); });
    totalSeconds = std::accumulate(seconds.begin(), seconds.end(), 0.0);
    Diagnostic{}("GPUImplHardware::timeBandwidthCL", ": totalSeconds=", totalSeconds);
  } catch (...) {
    // The failed batch has been reported; the others may do.
  }
  return totalSeconds;
}
