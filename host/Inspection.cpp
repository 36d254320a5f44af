#include "host/Inspection.h"

namespace host {

namespace {

template <class Wanted>
int countAnswers(const Inspection& inspection, Wanted wanted) {
  int count = 0;
  for (const Api* api : {&inspection.openGL, &inspection.openCL})
    for (const Gpu& gpu : api->gpus)
      for (const Answer& answer : gpu.answers) count += wanted(answer) ? 1 : 0;
  return count;
}

template <class Enum, std::size_t N>
const char* nameIn(const char* const (&names)[N], Enum value) {
  const auto place = static_cast<std::size_t>(value);
  return place < N ? names[place] : "";
}

}  // namespace

std::string Gpu::tag() const {
  return std::string(protocol::TagWord(kind)) + "[" + std::to_string(index) + "]";
}

int Inspection::answeredQuestions() const {
  return countAnswers(*this,
                      [](const Answer& answer) { return std::holds_alternative<Value>(answer); });
}

int Inspection::unansweredQuestions() const {
  return countAnswers(*this, [](const Answer& answer) {
    const Reason* reason = std::get_if<Reason>(&answer);
    return reason && IsLost(*reason);
  });
}

int Inspection::skippedQuestions() const {
  return countAnswers(*this,
                      [](const Answer& answer) { return answer == Answer(Reason::NotAsked); });
}

bool IsLost(Reason reason) {
  return reason == Reason::Hung || reason == Reason::Crashed || reason == Reason::NotReached ||
         reason == Reason::Failed;
}

// In the order of the enumerators.

const char* name(Reason reason) {
  return nameIn({"hung", "crashed", "not_reached", "not_asked", "failed", "absent", "unknown"},
                reason);
}

const char* name(Status status) {
  return nameIn({"complete", "partial", "hung", "crashed", "stuck", "failed_to_start", "torn"},
                status);
}

const char* name(ApiStatus status) {
  return nameIn({"ok", "absent", "hung", "crashed", "failed"}, status);
}

const char* name(Incident::Kind kind) {
  return nameIn({"hung", "crashed", "exited", "stuck"}, kind);
}

const char* name(Incident::Evidence evidence) {
  return nameIn({"none", "crash_line", "program_counter", "stack_scan", "announced"}, evidence);
}

}  // namespace host
