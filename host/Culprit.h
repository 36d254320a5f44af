#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Inspection.h"
#include "nkutil/ConsoleApp.h"

namespace host {

/// What was at fault, as far as it is known.
struct Culprit {
  std::optional<std::string> library;  ///< full path
  std::optional<std::uint64_t> offset;
  std::string threadState;
  Incident::Evidence evidence = Incident::Evidence::None;
};

/// The last line of a crash on standard error ("crash: SIGSEGV in /path/libname.so.1+0x1234"; the
/// form is docs/report.md's). None when the line is another; without a library where the line
/// knows none.
std::optional<Culprit> ParseCrashLine(std::string_view line);

/// Where a hung process stands, read from outside: the code that its main thread runs or waits in,
/// or else its nearest caller that is neither the C library nor the system's loader nor the
/// program. Takes no longer than the limit, and less than 1 ms as a rule. The process runs on
/// afterwards; the caller keeps it from being anybody else's.
Culprit FindCulprit(nkutil::ProcessId process, nkutil::Milliseconds limit);

/// The system's package that a file belongs to, with its version: "libpocl2:amd64 3.1-3". None
/// where nobody knows, or where it is not found out by the deadline.
std::optional<std::string> PackageOf(const std::string& file, nkutil::Time deadline);

// What the systems' own files share.

/// A piece of a process that holds code of a file.
struct CodeRange {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  std::uint64_t base = 0;  ///< where the file's first byte lies
  std::string file;
  bool passesOn = false;  ///< the C library, the loader, the program: not at fault themselves
};
/// Registers and stack of a thread, as far as they could be read.
struct ThreadPlace {
  std::optional<std::uint64_t> counter;
  std::vector<std::uint64_t> stack;  ///< words, from the stack pointer on
};
/// Adds library, offset and evidence.
void NameCulprit(const ThreadPlace& place, const std::vector<CodeRange>& code, Culprit& culprit);
/// FindCulprit() without its limit in time. A thread that runs gets `toStop` to be stopped, on a
/// busy machine it has to get a processor first.
Culprit FindCulpritOnSystem(nkutil::ProcessId process, nkutil::Milliseconds toStop);

}  // namespace host
