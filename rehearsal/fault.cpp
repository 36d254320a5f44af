// An OpenCL layer in which calls go wrong as GPUPROBE_FAULT says. Behind it, with GPUPROBE_SHORT=1,
// kernels run one work-group and copies move 4 KiB.

#include <cstdlib>

#include "rehearsal/Layer.h"
#include "rehearsal/Strike.h"
#include "zor/ocl/Library.h"

namespace {

using rehearsal::Calls;
using rehearsal::Fault;

template <class... Arguments>
auto lastOf(Arguments... arguments) {
  return std::get<sizeof...(arguments) - 1>(std::make_tuple(arguments...));
}

/// Functions return their status, or a handle and their status through the last argument.
struct OpenCL {
  static inline cl_icd_dispatch next;
  static constexpr bool kStatusByPointer = true;
  static constexpr bool kNumbersAreAnswers = false;

  template <class Result, class... Arguments>
  static Result Fail(const Calls&, const Fault& fault, Arguments... arguments) {
    return end<Result>(static_cast<cl_int>(fault.argument.value_or(CL_OUT_OF_RESOURCES)),
                       arguments...);
  }
  template <class Result, class... Arguments>
  static Result Success(Arguments... arguments) {
    return end<Result>(CL_SUCCESS, arguments...);
  }
  static void LeaveAnotherContext() {}  // OpenCL has no current one

 private:
  template <class Result, class... Arguments>
  static Result end(cl_int status, Arguments... arguments) {
    if constexpr (std::is_same_v<Result, cl_int>) {
      return status;
    } else {
      if (auto* where = lastOf(arguments...)) *where = status;
      return nullptr;
    }
  }
};

#define FAULT_HOOK(name)                \
  const char* const name##Name = #name; \
  using name##Hook = rehearsal::Hook<OpenCL, &cl_icd_dispatch::name, name##Name>;
ZOR_CL_ENTRY_POINTS(FAULT_HOOK)
#undef FAULT_HOOK

/// The one handle among the answers stays true: the ICD loader itself reads what it points to.
cl_int CL_API_CALL getDeviceInfo(cl_device_id device, cl_device_info property, size_t size,
                                 void* value, size_t* needed) {
  const cl_int status = clGetDeviceInfoHook::call(device, property, size, value, needed);
  if (status != CL_SUCCESS || property != CL_DEVICE_PLATFORM || size < sizeof(void*)) return status;
  if (!value || !*static_cast<void**>(value)) return status;
  return OpenCL::next.clGetDeviceInfo(device, property, size, value, nullptr);
}

cl_int CL_API_CALL shortKernel(cl_command_queue queue, cl_kernel kernel, cl_uint dimensions,
                               const size_t* offset, const size_t*, const size_t* local,
                               cl_uint waits, const cl_event* waitFor, cl_event* event) {
  return clEnqueueNDRangeKernelHook::call(queue, kernel, dimensions, offset, local, local, waits,
                                          waitFor, event);
}

cl_int CL_API_CALL shortCopy(cl_command_queue queue, cl_mem source, cl_mem destination, size_t from,
                             size_t to, size_t, cl_uint waits, const cl_event* waitFor,
                             cl_event* event) {
  return clEnqueueCopyBufferHook::call(queue, source, destination, from, to, 4096, waits, waitFor,
                                       event);
}

}  // namespace

void Install(const cl_icd_dispatch& below, cl_icd_dispatch& own) {
  if (const Fault* fault = rehearsal::FaultOfLoading("clLoad")) rehearsal::ActOnProcess(*fault);
  OpenCL::next = below;
#define FAULT_INSTALL(name) own.name = name##Hook::call;
  ZOR_CL_ENTRY_POINTS(FAULT_INSTALL)
#undef FAULT_INSTALL
  own.clGetDeviceInfo = getDeviceInfo;
  if (std::getenv("GPUPROBE_SHORT")) {
    own.clEnqueueNDRangeKernel = shortKernel;
    own.clEnqueueCopyBuffer = shortCopy;
  }
}
