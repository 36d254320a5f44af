#include "gpureport/ExitCode.h"

namespace gpureport {

int ExitCode(const host::Inspection& inspection) {
  switch (inspection.status) {
    case host::Status::FailedToStart:
      return kNotStarted;
    case host::Status::Stuck:
      return kStuck;
    case host::Status::Hung:
      return kHung;
    case host::Status::Crashed:
      return kCrashed;
    case host::Status::Partial:
    case host::Status::Torn:
      return kUnanswered;
    case host::Status::Complete:
      break;
  }
  const bool none = inspection.openGL.gpus.empty() && inspection.openCL.gpus.empty();
  return none ? kNoGpu : kComplete;
}

int ExitCode(const host::Inspection& inspection, host::Reason missing) {
  switch (missing) {
    case host::Reason::Hung:
      return kHung;
    case host::Reason::Crashed:
      return kCrashed;
    case host::Reason::NotReached: {
      const int code = ExitCode(inspection);
      return code == kComplete ? kUnanswered : code;
    }
    case host::Reason::NotAsked:
    case host::Reason::Failed:
    case host::Reason::Absent:
    case host::Reason::Unknown:
      break;
  }
  return kUnanswered;
}

}  // namespace gpureport
