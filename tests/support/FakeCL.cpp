#include "FakeCL.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

FakeCL* FakeCL::active = nullptr;

namespace {

template <class Handle>
Handle handleOf(size_t number) {
  return reinterpret_cast<Handle>(number);
}

/// Platforms are 1, 2, ...; the devices of platform 1 are 101, 102, ...
size_t platformOf(const void* handle) {
  return reinterpret_cast<size_t>(handle) % 100 - 1;
}

template <class... Numbers>
std::string text(Numbers... numbers) {
  std::string result = "(";
  ((result += (result.size() > 1 ? ", " : "") + std::to_string(numbers)), ...);
  return result + ")";
}

cl_int give(const std::vector<size_t>& found, cl_uint size, void* handles, cl_uint* count,
            cl_int none) {
  if (found.empty()) return none;
  if (count) *count = static_cast<cl_uint>(found.size());
  if (handles) std::memcpy(handles, found.data(), std::min<size_t>(size, found.size()) * 8);
  return CL_SUCCESS;
}

cl_int CL_API_CALL getPlatformIDs(cl_uint size, cl_platform_id* handles, cl_uint* count) {
  FakeCL& fake = *FakeCL::active;
  if (const cl_int status = fake.enter("clGetPlatformIDs")) return status;
  std::vector<size_t> found;
  while (found.size() < fake.platforms.size()) found.push_back(found.size() + 1);
  return give(found, size, handles, count, -1001);
}

cl_int CL_API_CALL getPlatformInfo(cl_platform_id platform, cl_platform_info property, size_t size,
                                   void* value, size_t* needed) {
  FakeCL& fake = *FakeCL::active;
  if (const cl_int status = fake.enter("clGetPlatformInfo")) return status;
  return fake.answer(property, fake.platforms.at(platformOf(platform)).version + '\0', size, value,
                     needed);
}

cl_int CL_API_CALL getDeviceIDs(cl_platform_id platform, cl_device_type type, cl_uint size,
                                cl_device_id* handles, cl_uint* count) {
  FakeCL& fake = *FakeCL::active;
  if (const cl_int status = fake.enter("clGetDeviceIDs", text(type))) return status;
  const std::vector<cl_device_type>& devices = fake.platforms.at(platformOf(platform)).devices;
  std::vector<size_t> found;
  for (size_t i = 0; i < devices.size(); ++i)
    if (devices[i] & type) found.push_back((i + 1) * 100 + platformOf(platform) + 1);
  return give(found, size, handles, count, CL_DEVICE_NOT_FOUND);
}

cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info property, size_t size,
                                 void* value, size_t* needed) {
  FakeCL& fake = *FakeCL::active;
  if (const cl_int status = fake.enter("clGetDeviceInfo", text(property, size))) return status;
  if (!device) return CL_INVALID_DEVICE;
  if (property == CL_DEVICE_PLATFORM) fake.set(property, platformOf(device) + 1);
  const auto found = fake.properties.find(property);
  if (found == fake.properties.end()) return CL_INVALID_VALUE;
  return fake.answer(property, found->second, size, value, needed);
}

cl_context CL_API_CALL createContext(const cl_context_properties* list, cl_uint devices,
                                     const cl_device_id* device,
                                     void(CL_CALLBACK* notify)(const char*, const void*, size_t,
                                                               void*),
                                     void* data, cl_int* status) {
  const auto arguments = text(list[0], list[1], list[2], devices, reinterpret_cast<size_t>(*device),
                              notify != nullptr, data != nullptr);
  return FakeCL::active->create<cl_context>("clCreateContext", arguments, status);
}

cl_command_queue CL_API_CALL createQueue(cl_context, cl_device_id,
                                         cl_command_queue_properties properties, cl_int* status) {
  return FakeCL::active->create<cl_command_queue>("clCreateCommandQueue", text(properties), status);
}

cl_mem CL_API_CALL createBuffer(cl_context, cl_mem_flags flags, size_t size, void* host,
                                cl_int* status) {
  return FakeCL::active->create<cl_mem>("clCreateBuffer", text(flags, size, host != nullptr),
                                        status);
}

cl_program CL_API_CALL createProgram(cl_context, cl_uint count, const char** texts,
                                     const size_t* lengths, cl_int* status) {
  FakeCL::active->source = texts[0];
  return FakeCL::active->create<cl_program>("clCreateProgramWithSource",
                                            text(count, lengths != nullptr), status);
}

cl_int CL_API_CALL buildProgram(cl_program, cl_uint devices, const cl_device_id*, const char*,
                                void(CL_CALLBACK*)(cl_program, void*), void*) {
  return FakeCL::active->enter("clBuildProgram", text(devices));
}

cl_kernel CL_API_CALL createKernel(cl_program, const char* name, cl_int* status) {
  return FakeCL::active->create<cl_kernel>("clCreateKernel", "(" + std::string(name) + ")", status);
}

cl_int CL_API_CALL setKernelArg(cl_kernel, cl_uint index, size_t size, const void* value) {
  cl_uint number = 0;
  if (size == sizeof number) std::memcpy(&number, value, sizeof number);
  return FakeCL::active->enter("clSetKernelArg", text(index, size, number));
}

cl_int enqueue(const char* function, const std::string& arguments, cl_event* event) {
  cl_int status = CL_SUCCESS;
  // A failing driver leaves the event as it is.
  const auto created = FakeCL::active->create<cl_event>(function, arguments, &status);
  if (status == CL_SUCCESS) *event = created;
  return status;
}

cl_int CL_API_CALL enqueueCopy(cl_command_queue, cl_mem, cl_mem, size_t from, size_t to,
                               size_t size, cl_uint, const cl_event*, cl_event* event) {
  return enqueue("clEnqueueCopyBuffer", text(from, to, size), event);
}

cl_int CL_API_CALL enqueueKernel(cl_command_queue, cl_kernel, cl_uint dimensions, const size_t*,
                                 const size_t* global, const size_t* local, cl_uint,
                                 const cl_event*, cl_event* event) {
  return enqueue("clEnqueueNDRangeKernel", text(dimensions, *global, *local), event);
}

cl_int CL_API_CALL finish(cl_command_queue) {
  return FakeCL::active->enter("clFinish");
}

cl_int CL_API_CALL waitForEvents(cl_uint count, const cl_event*) {
  return FakeCL::active->enter("clWaitForEvents", text(count));
}

cl_int CL_API_CALL profilingInfo(cl_event event, cl_profiling_info which, size_t size, void* value,
                                 size_t*) {
  FakeCL& fake = *FakeCL::active;
  if (const cl_int status = fake.enter("clGetEventProfilingInfo", text(which, size))) return status;
  const auto& [start, end] = fake.timesOf(event);
  std::memcpy(value, which == CL_PROFILING_COMMAND_END ? &end : &start, size);
  return CL_SUCCESS;
}

#define FAKE_RELEASE(name, Handle)                 \
  cl_int CL_API_CALL name##Fake(Handle handle) {   \
    return FakeCL::active->release(#name, handle); \
  }
FAKE_RELEASE(clReleaseContext, cl_context)
FAKE_RELEASE(clReleaseCommandQueue, cl_command_queue)
FAKE_RELEASE(clReleaseMemObject, cl_mem)
FAKE_RELEASE(clReleaseProgram, cl_program)
FAKE_RELEASE(clReleaseKernel, cl_kernel)
FAKE_RELEASE(clReleaseEvent, cl_event)
#undef FAKE_RELEASE

constexpr ZOR::OCL::EntryPoints kTable = {
    getPlatformIDs,
    getPlatformInfo,
    getDeviceIDs,
    getDeviceInfo,
    createContext,
    clReleaseContextFake,
    createQueue,
    clReleaseCommandQueueFake,
    finish,
    createBuffer,
    clReleaseMemObjectFake,
    enqueueCopy,
    createProgram,
    buildProgram,
    clReleaseProgramFake,
    createKernel,
    clReleaseKernelFake,
    setKernelArg,
    enqueueKernel,
    waitForEvents,
    profilingInfo,
    clReleaseEventFake,
};

}  // namespace

FakeCL::FakeCL() : fManager(kTable) {
  active = this;
  ZOR::OCL::ExtensionManager::Replace(&fManager);
}

FakeCL::~FakeCL() {
  for (const auto& [handle, creator] : alive) ADD_FAILURE() << "alive: " << creator;
  ZOR::OCL::ExtensionManager::Replace(nullptr);
  active = nullptr;
}

ZOR::OCL::Device FakeCL::device() const {
  return ZOR::OCL::Device(handleOf<cl_device_id>(101));
}

cl_int FakeCL::enter(const char* function, const std::string& arguments) {
  calls.push_back(function + arguments);
  const auto& planned = statuses[function];
  const unsigned call = ++counts[function];
  const auto status = planned.find(call);
  return status == planned.end() ? CL_SUCCESS : status->second;
}

void* FakeCL::createObject(const char* function, const std::string& arguments, cl_int* status) {
  *status = enter(function, arguments);
  if (*status != CL_SUCCESS) return nullptr;
  // Odd, so that no driver takes it for an address, and never given out twice.
  static size_t next = 0x1001;
  void* handle = handleOf<void*>(next += 2);
  alive[handle] = function;
  if (std::strncmp(function, "clEnqueue", 9) == 0) fEvents.emplace(handle, fEvents.size());
  return handle;
}

cl_int FakeCL::release(const char* function, void* handle) {
  EXPECT_EQ(alive.erase(handle), 1U) << function;
  return enter(function);
}

cl_int FakeCL::answer(cl_uint property, const std::string& bytes, size_t size, void* value,
                      size_t* needed) const {
  const auto claimed = claimedSizes.find(property);
  if (needed) *needed = claimed == claimedSizes.end() ? bytes.size() : claimed->second;
  if (value) std::memcpy(value, bytes.data(), std::min(size, bytes.size()));
  return CL_SUCCESS;
}

std::pair<cl_ulong, cl_ulong> FakeCL::timesOf(cl_event event) const {
  return times.at(std::min(fEvents.at(event), times.size() - 1));
}
