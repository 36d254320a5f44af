#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/Culprit.h"
#include "host/Inspection.h"
#include "nkutil/ConsoleApp.h"

namespace host {

/// An answer of a GPU as it came.
struct AnswerEvent {
  std::string tag;  ///< "glgpu[0]"
  const protocol::Question* question = nullptr;
  Answer answer;
};

/// How to ask.
struct Options {
  std::string probe = "gpuprobe";  ///< path, or a name that is looked for in PATH
  nkutil::Milliseconds deadline{30000};
  /// Hung is what writes nothing for this long; stages, CLBandwidth and CLCompute have twice of it.
  /// Never over a third of the deadline.
  nkutil::Milliseconds silence{5000};
  /// Names as in GPUPROBE_SKIP, a comma as it stands; that variable's own value counts nothing.
  std::vector<std::string> skip;
  /// For the probe, beside our own variables.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment;

  /// Called from the thread that called Inspect(): before a question or stage, with its announced
  /// name and the attempt; and with each answer, once a key.
  std::function<void(const std::string& asking, int attempt)> onAsking;
  std::function<void(const AnswerEvent&)> onAnswer;
  /// Set from any thread or a signal handler: the child's tree is ended and what was learnt is
  /// returned. Looked at ten times a second.
  const std::atomic<bool>* cancelled = nullptr;
  /// Told of a probe that hung, before it is ended. By default FindCulprit(), for the system's
  /// launcher only: others start no processes.
  std::function<Culprit(nkutil::ProcessId)> findCulprit;
};

/// Runs the probe, again without what it did not survive, until the report is whole or the deadline
/// is near. Returns by the deadline, or up to 100 ms later where a child resists. Throws nothing
/// but std::bad_alloc.
Inspection Inspect(nkutil::ConsoleAppLauncher& launcher, const Options& options);

/// An existing report, read as Inspect() reads one; Torn without its end.
Inspection FromReport(const std::string& bytes);

}  // namespace host
