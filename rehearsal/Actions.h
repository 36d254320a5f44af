#pragma once

/// What both fronts share: which call a fault strikes, and what it does to the process.

#include <cstdint>
#include <functional>

#include "rehearsal/Faults.h"

namespace rehearsal {

/// The calls of one function in this process.
struct Calls {
  const char* name;
  std::uint64_t made = 0;
};

/// Counts a call and gives the fault of GPUPROBE_FAULT that strikes it, or null. With
/// GPUPROBE_FAULT_ONCE=FILE one fault strikes once: whoever makes the file has done so. With
/// GPUPROBE_FAULT_TRACE=FILE each call appends a line to the file, "call FUNCTION" or "call
/// FUNCTION struck", before anything happens. A text that can't be read ends the process with a
/// line on standard error.
const Fault* CountCall(Calls& calls);

/// The fault that strikes the loading of a library, "clLoad" or "eglLoad". It is no call, so "*"
/// doesn't have it, and the trace only where the fault strikes.
const Fault* FaultOfLoading(const char* name);

/// Whether the fault may still strike under GPUPROBE_FAULT_ONCE; takes the right to.
bool TakeStrike();

/// Does what needs no knowledge of the function. True when the call goes on to the driver
/// afterwards, false when the action is one of those that concern the function's own result. Others
/// don't return.
bool ActOnProcess(const Fault& fault);

/// What differs between systems.
namespace system_actions {
[[noreturn]] void Hang();  ///< waits for what never comes
void StopUntilKilled();  ///< as in a driver's kernel part: signals other than SIGKILL don't end it
void LeaveChild();       ///< one that holds our streams for half a minute
void CloseStreams();     ///< standard output and standard error
void TakeSignals();      ///< handlers and, where there is one, the mask
void WriteNoise();       ///< an unfinished line past the C library
/// What it returns gives back the signal by which Wine stops a thread (SIGUSR1), which LLVM takes
/// when a driver is set up: then nobody could read where a thread of a Windows program hangs.
std::function<void()> RememberWinesSignal();
}  // namespace system_actions

}  // namespace rehearsal
