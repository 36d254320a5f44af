#pragma once

/// What is to go wrong, as text: "FUNCTION:CALL:ACTION", several separated by ";". Parsing is pure,
/// so that a host's tool can look at a fault before it starts anything.

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rehearsal {

/// Whether an action is followed by "=NUMBER".
enum class Argument { None, Optional, Needed };

// clang-format off
/// Every action, X(enumerator, word, argument). docs/rehearsal.md says what each does.
#define REHEARSAL_ACTIONS(X)                                                                      \
  /* what the function itself gives back */                                                       \
  X(Error, "error", Optional) X(Null, "null", None) X(Empty, "empty", None)                       \
  X(Garbage, "garbage", Optional) X(Huge, "huge", None)                                           \
  /* the call does not come back, or late */                                                      \
  X(Crash, "crash", None) X(Abort, "abort", None) X(Stack, "stack", None) X(Exit, "exit", Needed) \
  X(Throw, "throw", None) X(Hang, "hang", None) X(Sleep, "sleep", Needed) X(Spin, "spin", None)   \
  X(Kernel, "kernel", None)                                                                       \
  /* what it does to the process besides */                                                       \
  X(Noise, "noise", None) X(Fork, "fork", None) X(Close, "close", None) X(Chdir, "chdir", None)   \
  X(Signal, "signal", None) X(Locale, "locale", None) X(Current, "current", None)                 \
  X(Thread, "thread", None) X(Late, "late", None)
// clang-format on

enum class Action {
#define REHEARSAL_ENUMERATOR(name, word, argument) name,
  REHEARSAL_ACTIONS(REHEARSAL_ENUMERATOR)
#undef REHEARSAL_ENUMERATOR
};

struct Fault {
  /// "cl*": every function that begins so, and calls are counted over all of them; "*": any.
  std::string function;
  /// The calls that go wrong, counted from 1 within a process.
  std::uint64_t first = 1;
  std::uint64_t last = std::numeric_limits<std::uint64_t>::max();
  Action action = Action::Error;
  std::optional<std::int64_t> argument;

  bool Fits(std::string_view name) const;
  bool Strikes(std::uint64_t call) const { return first <= call && call <= last; }
};

/// CALL is a number, "N+" (that one and all later ones) or "*". An empty text is no fault. Throws
/// std::invalid_argument with one line that says what can't be read.
std::vector<Fault> ParseFaults(const std::string& text);

/// What the environment of a program has to get, beside what it has, so that the faults strike in
/// it: GPUPROBE_FAULT, and in front of what they hold already OPENCL_LAYERS (a fault of "cl..." or
/// "*") and LD_LIBRARY_PATH (one of "egl...", "gl..." or "*"; not on Windows). `folder` is the
/// kit's; `variable` tells the present value of one, empty where it has none. Throws what
/// ParseFaults() throws, and the same for a function that none of the system's fronts has.
std::vector<std::pair<std::string, std::string>> EnvironmentOf(
    const std::string& faults, const std::string& folder,
    const std::function<std::string(const std::string& name)>& variable);

}  // namespace rehearsal
