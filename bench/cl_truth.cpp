// cl_truth: every OpenCL GPU's two measurements beside the host's clock around the very same
// commands, and what memory the process holds after each question. With a number it asks only for
// texts and numbers, that many times, and says on standard error what that took for each device.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "app/ReportLine.h"
#include "gpu/GPU.h"
#include "zor/core/Library.h"
#include "zor/ocl/Library.h"

using namespace ZOR::OCL;
using Clock = std::chrono::steady_clock;

namespace {

// The driver's functions, and the host's times around them.
EntryPoints driver;
Clock::time_point begin;
double bestBatch, kernel;
bool inBatch;

double sinceBegin() {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

cl_int CL_API_CALL timedCopy(cl_command_queue queue, cl_mem from, cl_mem to, size_t fromOffset,
                             size_t toOffset, size_t size, cl_uint waits, const cl_event* waitFor,
                             cl_event* event) {
  if (!inBatch) begin = Clock::now();
  inBatch = true;
  return driver.clEnqueueCopyBuffer(queue, from, to, fromOffset, toOffset, size, waits, waitFor,
                                    event);
}

cl_int CL_API_CALL timedFinish(cl_command_queue queue) {
  const cl_int status = driver.clFinish(queue);
  if (inBatch && (bestBatch == 0 || sinceBegin() < bestBatch)) bestBatch = sinceBegin();
  inBatch = false;
  return status;
}

cl_int CL_API_CALL timedKernel(cl_command_queue queue, cl_kernel function, cl_uint dimensions,
                               const size_t* offset, const size_t* global, const size_t* local,
                               cl_uint waits, const cl_event* waitFor, cl_event* event) {
  begin = Clock::now();
  return driver.clEnqueueNDRangeKernel(queue, function, dimensions, offset, global, local, waits,
                                       waitFor, event);
}

cl_int CL_API_CALL timedWait(cl_uint count, const cl_event* events) {
  const cl_int status = driver.clWaitForEvents(count, events);
  kernel = sinceBegin();
  return status;
}

/// Resident now and at most, in KiB.
std::string memory() {
  std::ifstream file("/proc/self/status");
  std::string found;
  for (std::string line; std::getline(file, line);)
    for (const char* key : {"VmHWM:", "VmRSS:"})
      if (line.rfind(key, 0) == 0)
        found += std::string(found.empty() ? "peak " : ", now ") +
                 std::to_string(std::stol(line.substr(6))) + " KiB";
  return found;
}

void write(const std::string& line) {
  std::cout << line << std::endl;
}

void ask(const CLGPU& gpu, int repeats) {
  begin = Clock::now();
  for (int i = 0; i < repeats; ++i) {
    write(ReportLine("CLPlatformVersion", gpu.Version()));
    write(ReportLine("CLDeviceVersion", gpu.DeviceVersion()));
    write(ReportLine("IsIntegratedCLGPU", gpu.IsIntegrated()));
    write(ReportLine("CLMemoryMB", gpu.MemoryMB()));
    write(ReportLine("CLName", gpu.Name()));
    write(ReportLine("CLVendor", gpu.Vendor()));
    write(ReportLine("CLVendorID", gpu.VendorID()));
    write(ReportLine("CLDriverVersion", gpu.DriverVersion()));
    write(ReportLine("CUDASupported", gpu.CUDASupported()));
    write(ReportLine("CUDAVersion", gpu.CUDAVersion()));
  }
  std::fprintf(stderr, "probe %.1f us\n", sinceBegin() * 1e6 / repeats);
}

void measure(const CLGPU& gpu) {
  std::printf("%s: %s\n", gpu.Name().c_str(), memory().c_str());
  // Several, since a busy machine delays the host between two copies.
  for (int i = 0; i < 5; ++i) {
    bestBatch = 0;
    const double bandwidth = gpu.Bandwidth();
    const double host = 20.0 * (1 << 24) / bestBatch;
    std::printf("  CLBandwidth %.6g B/s, host %.6g B/s, ratio %.4f; %s\n", bandwidth, host,
                bandwidth / host, memory().c_str());
  }
  const double compute = gpu.Impl().DoGetCLCompute();
  std::printf("  CLCompute %.6g s, host %.6g s, ratio %.4f; %s\n", compute, kernel,
              compute / kernel, memory().c_str());
  std::fflush(stdout);
}

void wrapDriver(ExtensionManager& manager) {
  driver = *manager.table();
  EntryPoints timed = driver;
  timed.clEnqueueCopyBuffer = timedCopy;
  timed.clFinish = timedFinish;
  timed.clEnqueueNDRangeKernel = timedKernel;
  timed.clWaitForEvents = timedWait;
  static ExtensionManager wrapped(timed);
  ExtensionManager::Replace(&wrapped);
}

}  // namespace

int main(int argc, char** argv) {
  ZOR::Core::Library::Initialize();
  const GPUList gpus = MakeGPUImpl()->DoGetCLGPUs();
  if (argc == 1) wrapDriver(*ExtensionManager::instance());
  for (const boost::shared_ptr<GPU>& gpu : gpus) {
    const CLGPU& device = dynamic_cast<const CLGPU&>(*gpu);
    if (argc > 1)
      ask(device, std::atoi(argv[1]));
    else
      measure(device);
  }
}
