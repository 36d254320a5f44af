#include "host/ApiFindings.h"

#include <algorithm>
#include <iterator>

namespace host {

namespace {

/// More GPUs than this only a damaged report has.
constexpr int kMostGpus = 64;

bool isOpen(const Answer& answer) {
  const Reason* reason = std::get_if<Reason>(&answer);
  return reason && *reason == Reason::NotReached;
}

/// In a status that says the worst: hung, crashed, failed.
int badness(ApiStatus status) {
  switch (status) {
    case ApiStatus::Hung:
      return 3;
    case ApiStatus::Crashed:
      return 2;
    case ApiStatus::Failed:
      return 1;
    default:
      return 0;
  }
}

ApiStatus statusOf(const Answer& answer) {
  const Reason* reason = std::get_if<Reason>(&answer);
  if (!reason) return ApiStatus::Ok;
  switch (*reason) {
    case Reason::Hung:
      return ApiStatus::Hung;
    case Reason::Crashed:
      return ApiStatus::Crashed;
    case Reason::Failed:
    case Reason::NotReached:
      return ApiStatus::Failed;
    default:
      return ApiStatus::Ok;
  }
}

}  // namespace

const protocol::Question* FirstQuestion(protocol::GPUKind kind) {
  return std::find_if(std::begin(protocol::kQuestions), std::end(protocol::kQuestions),
                      [kind](const protocol::Question& question) { return question.gpu == kind; });
}

ApiFindings::ApiFindings(protocol::GPUKind kind, const std::set<std::string>& requestedSkips)
    : fKind(kind),
      fRequestedSkips(requestedSkips),
      fQuestions(FirstQuestion(kind)),
      fQuestionCount(static_cast<std::size_t>(std::count_if(
          std::begin(protocol::kQuestions), std::end(protocol::kQuestions),
          [kind](const protocol::Question& question) { return question.gpu == kind; }))),
      fNotAsked(requestedSkips.count(name()) > 0) {}

const char* ApiFindings::name() const {
  return fKind == protocol::GPUKind::OpenGL ? "OpenGL" : "OpenCL";
}

bool ApiFindings::Known::isSettled() const {
  return hangs > 1 || std::none_of(gpu.answers.begin(), gpu.answers.end(), isOpen);
}

bool ApiFindings::Generation::isSettled() const {
  return std::all_of(gpus.begin(), gpus.end(), [](const Known& gpu) { return gpu.isSettled(); });
}

int ApiFindings::Generation::answered() const {
  int count = 0;
  for (const Known& known : gpus)
    for (const Answer& answer : known.gpu.answers) count += isOpen(answer) ? 0 : 1;
  return count;
}

void ApiFindings::beginAttempt() {
  fDevices.clear();
  fCurrent.reset();
  fSkips = false;
  fReached = 0;
  fSkipped.clear();
}

ApiFindings::Known ApiFindings::newGpu(int index) const {
  Known known;
  known.gpu.kind = fKind;
  known.gpu.index = index;
  const std::string tag = known.gpu.tag();
  for (std::size_t i = 0; i < fQuestionCount; ++i) {
    const std::string key = fQuestions[i].key;
    std::string name = tag;
    name.append(".").append(key);
    const bool requested =
        fRequestedSkips.count(tag) + fRequestedSkips.count(key) + fRequestedSkips.count(name) > 0;
    known.gpu.answers.emplace_back(requested ? Reason::NotAsked : Reason::NotReached);
  }
  return known;
}

void ApiFindings::setCount(int count) {
  if (fCurrent || count < 0 || count > kMostGpus) return;
  const auto same =
      std::find_if(fGenerations.begin(), fGenerations.end(), [&](const Generation& generation) {
        return generation.gpus.size() == static_cast<std::size_t>(count) &&
               generation.devices == fDevices;
      });
  fCurrent = same - fGenerations.begin();
  if (same != fGenerations.end()) return;
  Generation generation;
  generation.devices = fDevices;
  for (int i = 0; i < count; ++i) generation.gpus.push_back(newGpu(i));
  fGenerations.push_back(std::move(generation));
}

void ApiFindings::skip(bool byRequest) {
  fSkips = true;
  fNotAsked = fNotAsked || byRequest;
}

void ApiFindings::pass() {
  if (!fCurrent && !fSkips) fAbsent = true;
  if (fCurrent) sweepTo(fQuestionCount * fGenerations[*fCurrent].gpus.size());
}

std::optional<std::size_t> ApiFindings::placeOf(const protocol::Question& question, int gpu) const {
  const auto index = static_cast<std::size_t>(&question - fQuestions);
  const auto column = static_cast<std::size_t>(gpu);
  const std::size_t count = fCurrent ? fGenerations[*fCurrent].gpus.size() : 0;
  if (column >= count) return std::nullopt;
  return index * count + column;
}

Answer& ApiFindings::answerAt(std::size_t place) {
  std::vector<Known>& gpus = fGenerations[*fCurrent].gpus;
  return gpus[place % gpus.size()].gpu.answers[place / gpus.size()];
}

void ApiFindings::sweepTo(std::size_t place) {
  for (; fReached < place; ++fReached) {
    Answer& answer = answerAt(fReached);
    if (isOpen(answer) && !fSkipped.count(fReached)) answer = Reason::Failed;
  }
}

void ApiFindings::reach(const protocol::Question& question, int gpu) {
  if (const auto place = placeOf(question, gpu)) sweepTo(*place);
}

Answer* ApiFindings::answer(const protocol::Question& question, int gpu) {
  const auto place = placeOf(question, gpu);
  return place ? &answerAt(*place) : nullptr;
}

void ApiFindings::noteSkipped(const protocol::Question& question, int gpu, bool byRequest) {
  const auto place = placeOf(question, gpu);
  if (!place) return;
  fSkipped.insert(*place);
  if (!isOpen(answerAt(*place))) return;
  const auto lost = fLostQuestions.find(&question);
  if (byRequest) answerAt(*place) = Reason::NotAsked;
  // Left out of every GPU, since it can't be told which one lost it.
  if (fGenerations.size() > 1 && lost != fLostQuestions.end()) answerAt(*place) = lost->second;
}

void ApiFindings::loseQuestion(const protocol::Question& question, int gpu, Reason reason) {
  ++fLosses;
  fLostQuestions.emplace(&question, reason);
  const auto place = placeOf(question, gpu);
  if (!place) return;
  if (isOpen(answerAt(*place))) answerAt(*place) = reason;
  if (reason == Reason::Hung) ++fGenerations[*fCurrent].gpus[static_cast<std::size_t>(gpu)].hangs;
}

void ApiFindings::note(ApiStatus how) {
  ++fLosses;
  if (!fStageLoss || badness(how) > badness(*fStageLoss)) fStageLoss = how;
}

bool ApiFindings::loseDevice(const std::string& skipName, ApiStatus how) {
  note(how);
  return fDevicesLeftOut.insert(skipName).second;
}

void ApiFindings::loseDriver(ApiStatus how) {
  note(how);
}

void ApiFindings::giveUp(ApiStatus how) {
  note(how);
  fGivenUp = true;
}

bool ApiFindings::isSettled() const {
  return fGivenUp || fAbsent || fNotAsked ||
         std::any_of(fGenerations.begin(), fGenerations.end(),
                     [](const Generation& generation) { return generation.isSettled(); });
}

void ApiFindings::addSkips(std::vector<std::string>& names) const {
  names.insert(names.end(), fDevicesLeftOut.begin(), fDevicesLeftOut.end());
  if (fGenerations.size() == 1) return addIndexedSkips(fGenerations[0], names);
  // What the indices of the next attempt mean can't be told.
  for (const auto& [question, reason] : fLostQuestions) names.emplace_back(question->key);
}

/// Short ones, since environments are: a settled GPU by its tag, a question by its key where no
/// other GPU has it open.
void ApiFindings::addIndexedSkips(const Generation& generation,
                                  std::vector<std::string>& names) const {
  std::vector<const Known*> open;
  for (const Known& known : generation.gpus) {
    if (known.isSettled())
      names.push_back(known.gpu.tag());
    else
      open.push_back(&known);
  }
  for (std::size_t i = 0; i < fQuestionCount; ++i) {
    std::vector<const Known*> done;
    std::copy_if(open.begin(), open.end(), std::back_inserter(done),
                 [i](const Known* known) { return !isOpen(known->gpu.answers[i]); });
    if (!open.empty() && done.size() == open.size()) {
      names.emplace_back(fQuestions[i].key);
      continue;
    }
    for (const Known* known : done) names.push_back(known->gpu.tag() + "." + fQuestions[i].key);
  }
}

std::vector<Gpu> ApiFindings::gpus() const {
  const auto best = std::max_element(
      fGenerations.begin(), fGenerations.end(),
      [](const Generation& a, const Generation& b) { return a.answered() < b.answered(); });
  std::vector<Gpu> gpus;
  if (best != fGenerations.end())
    for (const Known& known : best->gpus) gpus.push_back(known.gpu);
  return gpus;
}

ApiStatus ApiFindings::status() const {
  const std::vector<Gpu> all = gpus();
  ApiStatus worst = !all.empty()                                    ? ApiStatus::Ok
                    : fAbsent || fNotAsked || !fGenerations.empty() ? ApiStatus::Absent
                                                                    : ApiStatus::Failed;
  const auto take = [&worst](ApiStatus status) {
    if (badness(status) > badness(worst)) worst = status;
  };
  if (fStageLoss) take(*fStageLoss);
  for (const Gpu& gpu : all)
    for (const Answer& answer : gpu.answers) take(statusOf(answer));
  return worst;
}

}  // namespace host
