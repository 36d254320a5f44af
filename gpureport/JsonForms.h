#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>

#include "host/Inspection.h"
#include "nkutil/ConsoleApp.h"

namespace gpureport {

/// What --get found.
struct Got {
  bool known = false;                   ///< the JSON has such a key
  std::optional<std::string> value;     ///< none for null; texts without quotes
  std::optional<host::Reason> missing;  ///< why a GPU's field is null
};

/// The value at a key of the JSON, "opengl[0].limits.GL_MAX_DRAW_BUFFERS" or "run.status". An API's
/// name with an index stands for its GPU.
Got GetValue(const host::Inspection& inspection, const std::string& key);

/// Answers by their GPU's tag and question.
using Told = std::set<std::pair<std::string, const protocol::Question*>>;
/// Every answer that was not told yet, each incident and the run, one object a line, as they would
/// have come.
std::string JsonLines(const host::Inspection& inspection, const Told& told = {});

/// How a guarded program came off.
struct GuardRun {
  enum class Status { Finished, Crashed, Hung, Stuck, FailedToStart };
  Status status = Status::Finished;
  nkutil::Ending ending;
  double durationSeconds = 0;
  std::optional<double> deadlineSeconds;
  int killedProcesses = 0;
  std::uint64_t outBytes = 0;
  std::uint64_t errBytes = 0;
  std::string startError;
  bool interrupted = false;  ///< by Ctrl-C or a signal to us, before the deadline
};

/// The file of --verdict.
std::string GuardVerdict(const GuardRun& run);

}  // namespace gpureport
