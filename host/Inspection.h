#pragma once

/// What a host learns from the probe, as types: every answer or the reason why there is none, and
/// what went wrong on the way. Inspect.h makes one, Json.h writes and reads one.

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "protocol/Questions.h"

namespace host {

/// Why an answer is missing.
enum class Reason {
  Hung,        ///< the driver did not come back from the question
  Crashed,     ///< the driver took the probe down at the question
  NotReached,  ///< the run ended before it
  NotAsked,    ///< left out by request
  Failed,   ///< the driver returned an error, its text is among the messages; or no finite number
  Absent,   ///< there is nothing that could answer: no library, no device, no CUDA
  Unknown,  ///< answered with the sign for unknown: 0, an empty text, "?"
};

/// A value as the report gives it (units are protocol::Question's), or why there is none.
using Value = std::variant<bool, std::int64_t, double, std::string, std::vector<std::int64_t>>;
using Answer = std::variant<Reason, Value>;

/// One GPU of an API.
struct Gpu {
  protocol::GPUKind kind = protocol::GPUKind::OpenGL;
  int index = 0;
  /// One answer for every question of the kind, in the order of protocol::kQuestions.
  std::vector<Answer> answers;

  /// "glgpu[0]".
  std::string tag() const;
};

/// What a person, an installer or an alert is told first; the worst incident that cost an answer.
enum class Status {
  Complete,  ///< every question was answered, if only by "unknown" or "absent"
  Partial,   ///< some question failed
  Hung,
  Crashed,        ///< or exited in the middle
  Stuck,          ///< a child that the system can't end was left behind
  FailedToStart,  ///< there is no probe, or it could not be started
  Torn,           ///< an existing report without its end
};

/// How one API came off.
enum class ApiStatus { Ok, Absent, Hung, Crashed, Failed };

struct Api {
  ApiStatus status = ApiStatus::Absent;
  bool notAsked = false;  ///< it was left out as a whole by request
  std::vector<Gpu> gpus;
};

/// How the probe was lost once.
struct Incident {
  enum class Kind { Hung, Crashed, Exited, Stuck };
  /// How the library is known.
  enum class Evidence { None, CrashLine, ProgramCounter, StackScan, Announced };

  Kind kind = Kind::Crashed;
  int attempt = 1;
  /// The announced name without the GPU's tag ("CLBandwidth"), a stage ("NumCLGPUs Portable
  /// Computing Language") or "release"; empty before the first announcement.
  std::string question;
  std::optional<std::string> gpu;  ///< the tag
  /// What was at fault, as a full path, and where in it.
  std::optional<std::string> library;
  std::optional<std::uint64_t> libraryOffset;
  std::optional<std::string> package;  ///< name and version of the system's package of `library`
  /// "SIGSEGV", "0xC0000005 access violation", "exit code 0"; empty for a hang.
  std::string signal;
  std::string threadState;  ///< of the thread that hung, in the system's words; empty otherwise
  double seconds = 0;       ///< from the announcement to the end of patience, or to the crash
  Evidence evidence = Evidence::None;
};

/// One line of standard error.
struct Message {
  int attempt = 1;
  std::string question;  ///< what had been announced last
  std::string text;
};

/// The whole result.
struct Inspection {
  Status status = Status::FailedToStart;
  std::optional<int> exitCode;  ///< the last attempt's, where it exited
  double durationSeconds = 0;
  std::optional<double> deadlineSeconds;  ///< none for an existing report
  int attempts = 0;
  std::chrono::system_clock::time_point createdAt;
  std::vector<Incident> incidents;
  Api openGL;
  Api openCL;
  std::vector<Message> messages;
  std::map<std::string, std::string> unknownKeys;  ///< the keys in UTF-8
  std::string startError;                          ///< for FailedToStart: one line that says why

  int answeredQuestions() const;
  /// Missing answers that IsLost().
  int unansweredQuestions() const;
  /// Answers that were left out by request.
  int skippedQuestions() const;
};

/// Whether a fault took the answer, so that it is missing for no good reason.
bool IsLost(Reason reason);

/// Words of the JSON, "not_reached" and the like; the enumerators' names in snake case.
const char* name(Reason reason);
const char* name(Status status);
const char* name(ApiStatus status);
const char* name(Incident::Kind kind);
const char* name(Incident::Evidence evidence);

}  // namespace host
