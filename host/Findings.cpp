#include "host/Findings.h"

#include <cstring>

#include "host/Text.h"

namespace host {

namespace {

/// The GPU's driver has CUDA, whether it tells its version or not.
bool hasCuda(ApiFindings& api, int gpu) {
  for (const protocol::Question& question : protocol::kQuestions) {
    if (std::strcmp(question.key, "CUDASupported") != 0) continue;
    const Answer* answer = api.answer(question, gpu);
    return answer && *answer == Answer(Value(true));
  }
  return false;
}

}  // namespace

Findings::Findings(Report report, const std::vector<std::string>& requestedSkips, OnAnswer onAnswer)
    : fReport(report),
      fRequestedSkips(requestedSkips.begin(), requestedSkips.end()),
      fOnAnswer(std::move(onAnswer)),
      fOpenGL(protocol::GPUKind::OpenGL, fRequestedSkips),
      fOpenCL(protocol::GPUKind::OpenCL, fRequestedSkips) {}

void Findings::beginAttempt() {
  fAsked.clear();
  fEnded = false;
  fOpenGL.beginAttempt();
  fOpenCL.beginAttempt();
}

void Findings::take(const ReportLine& line) {
  switch (line.kind) {
    case ReportLine::Kind::Asking: {
      fAsked = line.name;
      const Asked asked = ParseAsked(line.name);
      if (asked.what == Asked::What::Question) api(asked.api).reach(*asked.question, asked.gpu);
      // OpenGL's first stage touches some of the devices only.
      if (asked.what == Asked::What::Device && asked.skipName == fAsked)
        api(asked.api).addDevice(fAsked);
      break;
    }
    case ReportLine::Kind::Skipped:
      takeSkipped(line.name);
      break;
    case ReportLine::Kind::OfRun:
      if (!fEnded) takeRun(line);
      break;
    case ReportLine::Kind::OfGpu:
      if (!fEnded) takeAnswer(line);
      break;
    case ReportLine::Kind::Unknown:
      takeUnknown(line);
      break;
    case ReportLine::Kind::Nothing:
      break;
  }
}

void Findings::takeSkipped(std::string_view name) {
  const bool byRequest = fReport == Report::Existing;
  const Asked asked = ParseAsked(name);
  if (asked.what == Asked::What::Question)
    api(asked.api).noteSkipped(*asked.question, asked.gpu, byRequest);
  for (ApiFindings* api : {&fOpenGL, &fOpenCL})
    if (name == api->name()) api->skip(byRequest);
}

void Findings::takeRun(const ReportLine& line) {
  const auto is = [&line](const char* key) { return std::strcmp(line.run->key, key) == 0; };
  const Value* value = std::get_if<Value>(&line.value);
  const auto* number = value ? std::get_if<std::int64_t>(value) : nullptr;
  constexpr std::int64_t kMost = 1000000;
  const int count = number && *number >= 0 && *number < kMost ? static_cast<int>(*number) : -1;
  if (is("NumGLGPUs")) fOpenGL.setCount(count);
  if (is("NumCLGPUs")) fOpenCL.setCount(count);
  fEnded = fEnded || is("snifferEnd");
  if (!fEnded && !is("NumNativeGPUs")) return;
  fOpenGL.pass();
  fOpenCL.pass();
}

void Findings::takeUnknown(const ReportLine& line) {
  fUnknownKeys.emplace(ValidUtf8(line.name), line.text);
}

void Findings::takeAnswer(const ReportLine& line) {
  ApiFindings& of = api(line.question->gpu);
  of.reach(*line.question, line.gpu);
  Answer* answer = of.answer(*line.question, line.gpu);
  if (!answer) return takeUnknown(line);
  const Reason* missing = std::get_if<Reason>(answer);
  if (!missing || *missing == Reason::Unknown || *missing == Reason::Absent) return;
  *answer = line.value;
  const Reason* reason = std::get_if<Reason>(answer);
  if (reason && *reason == Reason::Absent && hasCuda(of, line.gpu)) *answer = Reason::Unknown;
  if (!fTold.emplace(line.question, line.gpu).second || !fOnAnswer) return;
  fOnAnswer({std::string(line.name.substr(0, line.name.find('.'))), line.question, *answer});
}

bool Findings::waits(const ApiFindings& api) const {
  const ApiFindings& other = &api == &fOpenGL ? fOpenCL : fOpenGL;
  return !other.isSettled() && api.losses() > other.losses();
}

std::string Findings::skipList() const {
  std::vector<std::string> names(fRequestedSkips.begin(), fRequestedSkips.end());
  for (const ApiFindings* api : {&fOpenGL, &fOpenCL}) {
    if (api->isSettled() || waits(*api))
      names.emplace_back(api->name());
    else
      api->addSkips(names);
  }
  std::string list;
  for (const std::string& name : names) list.append(list.empty() ? "" : ",").append(SkipName(name));
  return list;
}

void Findings::conclude(Inspection& result) {
  result.openGL = {fOpenGL.status(), fOpenGL.notAsked(), fOpenGL.gpus()};
  result.openCL = {fOpenCL.status(), fOpenCL.notAsked(), fOpenCL.gpus()};
  result.unknownKeys = std::move(fUnknownKeys);
}

bool IsPartial(const Inspection& inspection) {
  for (const Api* api : {&inspection.openGL, &inspection.openCL}) {
    if (api->status != ApiStatus::Ok && api->status != ApiStatus::Absent) return true;
  }
  return false;
}

Inspection FromReport(const std::string& bytes) {
  Findings findings(Findings::Report::Existing, {}, nullptr);
  findings.beginAttempt();
  ReportReader reader([&findings](const ReportLine& line) { findings.take(line); });
  reader.feed(bytes);
  Inspection result;
  result.createdAt = std::chrono::system_clock::now();
  result.attempts = 1;
  findings.conclude(result);
  result.status = !findings.ended()   ? Status::Torn
                  : IsPartial(result) ? Status::Partial
                                      : Status::Complete;
  return result;
}

}  // namespace host
