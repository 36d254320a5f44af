// Makes chosen calls go wrong, for tests:
//
//   CL_FAULT=clFinish:2:-5          the second clFinish returns -5 without reaching the driver
//   CL_FAULT=clFinish:2:sleep=500   it sleeps 500 milliseconds first
//   CL_FAULT=clFinish:2:crash       it ends the process with a fault (SIGILL)
//   CL_FAULT=clFinish:*:-5          every one; *:*:-5 every one of every function
//   CL_FAULT=*:2:-5                 the second call of all
//   CL_FAULT=clFinish:2:print      it prints on standard output first, without a line end
//   CL_FAULT_ONCE=FILE              only while there is no FILE; it is made then, so that the fault
//                                   comes once in all processes
//   CL_SHORT=1                      kernels run one work-group, copies move 4 KiB
//   CL_FAULT_COUNTS=FILE            after each call, a line "function calls faults" for each one
//
// The number counts the calls of that function in this process, from 1. A release that fails
// still reaches the driver, or its leak would hide ours.

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <tuple>
#include <type_traits>

#include "layers/Layer.h"
#include "zor/ocl/Library.h"

namespace {

cl_icd_dispatch next;

struct Fault {
  std::string function;
  unsigned long call = 0;  // 0 is every one
  std::string action;
};

Fault readFault() {
  const char* text = std::getenv("CL_FAULT");
  if (!text) return {};
  const std::string all = text;
  const size_t first = all.find(':'), second = all.find(':', first + 1);
  if (second == std::string::npos) std::abort();
  return {all.substr(0, first), std::strtoul(all.c_str() + first + 1, nullptr, 10),
          all.substr(second + 1)};
}

const Fault& fault() {
  static const Fault read = readFault();
  return read;
}

/// Whether a call that is to go wrong does.
bool isDue() {
  const char* path = std::getenv("CL_FAULT_ONCE");
  if (!path) return true;
  const int file = open(path, O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file != -1) close(file);
  return file != -1;
}

bool takes(const std::string& action, std::string& argument) {
  if (fault().action.compare(0, action.size(), action) != 0) return false;
  argument = fault().action.substr(action.size());
  return true;
}

template <class... Arguments>
auto lastOf(Arguments... arguments) {
  return std::get<sizeof...(arguments) - 1>(std::make_tuple(arguments...));
}

/// The function's own way to say that it failed.
template <class Result, class... Arguments>
Result failWith(cl_int status, Arguments... arguments) {
  if constexpr (std::is_same_v<Result, cl_int>) {
    return status;
  } else {
    if (auto* where = lastOf(arguments...)) *where = status;
    return nullptr;
  }
}

template <class Result, class... Arguments>
Result actOn(const std::string& name, Result (*function)(Arguments...), Arguments... arguments) {
  std::string argument;
  if (fault().action == "crash") __builtin_trap();
  if (takes("sleep=", argument)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(std::stol(argument)));
    return function(arguments...);
  }
  if (fault().action == "print") {
    std::printf("driver's half ");
    if (write(STDOUT_FILENO, "line ", 5) != 5) std::abort();
    return function(arguments...);
  }
  if (name.rfind("clRelease", 0) == 0) function(arguments...);
  return failWith<Result>(std::stoi(fault().action), arguments...);
}

/// A program need not run its exit handlers.
void writeCounts();

struct Count {
  unsigned long calls = 0;
  unsigned long faults = 0;
};

/// Calls of all functions.
unsigned long allCalls = 0;

/// One hooked function: its name, its counts and the function in front of it.
template <auto Member, const char* const& Name>
struct Hook;

template <class Result, class... Arguments, Result (*cl_icd_dispatch::*Member)(Arguments...),
          const char* const& Name>
struct Hook<Member, Name> {
  static inline Count count;

  static Result call(Arguments... arguments) {
    ++count.calls;
    ++allCalls;
    const bool any = fault().function == "*";
    const unsigned long number = any ? allCalls : count.calls;
    const bool faulty = (any || fault().function == Name) &&
                        (fault().call == 0 || fault().call == number) && isDue();
    if (faulty) ++count.faults;
    writeCounts();
    return faulty ? actOn(Name, next.*Member, arguments...) : (next.*Member)(arguments...);
  }
};

#define FAULT_HOOK(name)                \
  const char* const name##Name = #name; \
  using name##Hook = Hook<&cl_icd_dispatch::name, name##Name>;
ZOR_CL_ENTRY_POINTS(FAULT_HOOK)
#undef FAULT_HOOK

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

void writeCounts() {
  const char* path = std::getenv("CL_FAULT_COUNTS");
  if (!path) return;
  std::ofstream file(path);
#define FAULT_WRITE(name) \
  file << #name << ' ' << name##Hook::count.calls << ' ' << name##Hook::count.faults << '\n';
  ZOR_CL_ENTRY_POINTS(FAULT_WRITE)
#undef FAULT_WRITE
}

}  // namespace

void Install(const cl_icd_dispatch& below, cl_icd_dispatch& own) {
  next = below;
#define FAULT_INSTALL(name) own.name = name##Hook::call;
  ZOR_CL_ENTRY_POINTS(FAULT_INSTALL)
#undef FAULT_INSTALL
  if (std::getenv("CL_SHORT")) {
    own.clEnqueueNDRangeKernel = shortKernel;
    own.clEnqueueCopyBuffer = shortCopy;
  }
}
