#pragma once

#include "host/Inspection.h"

namespace gpureport {

/// Exit codes of gpureport.
constexpr int kComplete = 0;
constexpr int kOwnFailure = 1;
constexpr int kUsage = 2;
constexpr int kUnanswered = 3;
constexpr int kNoGpu = 4;
constexpr int kHung = 5;
constexpr int kCrashed = 6;
constexpr int kNotStarted = 7;
constexpr int kStuck = 8;
constexpr int kNotMet = 9;

/// Exit codes of gpureport guard, beside the program's own; those of timeout(1).
constexpr int kGuardDeadline = 124;
constexpr int kGuardFailure = 125;
constexpr int kGuardNotRunnable = 126;
constexpr int kGuardNotFound = 127;
constexpr int kGuardStuck = 137;

/// The code of a shown inspection.
int ExitCode(const host::Inspection& inspection);

/// The code of an answer that is missing where it was wanted: never 0.
int ExitCode(const host::Inspection& inspection, host::Reason missing);

}  // namespace gpureport
