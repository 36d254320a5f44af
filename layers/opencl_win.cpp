// An OpenCL.dll for Windows that has no platform and misbehaves on demand, in the place of the
// system's. GPUPROBE_FAULT names the call and what it does, "FUNCTION:CALL:ACTION": CALL counts
// from 1, ACTION is "crash" (a bad address) or "hang".

#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "zor/ocl/Library.h"

namespace {

void act(const std::string& action) {
  static volatile int* volatile nowhere = nullptr;
  if (action == "crash") *nowhere = 1;
  if (action == "hang") Sleep(INFINITE);
}

/// What one function does: the fault when its turn has come. Each has a counter of its own.
template <const char* const& Name>
long long call() {
  static std::atomic<unsigned> calls{0};
  const char* fault = std::getenv("GPUPROBE_FAULT");
  const std::string start = std::string(Name) + ":" + std::to_string(++calls) + ":";
  if (fault && std::string(fault).rfind(start, 0) == 0) act(fault + start.size());
  constexpr int kNoPlatform = -1001;
  return kNoPlatform;
}

}  // namespace

// The caller passes arguments in registers and cleans up behind them, so that functions which look
// at none need no parameters. The header declares others by OpenCL's names: only for the linker are
// these called so.
#define STAND_IN(name)                                                     \
  const char* const name##Name = #name;                                    \
  extern "C" __declspec(dllexport) long long fake_##name() __asm__(#name); \
  long long fake_##name() {                                                \
    return call<name##Name>();                                             \
  }
ZOR_CL_ENTRY_POINTS(STAND_IN)
