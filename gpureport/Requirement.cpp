#include "gpureport/Requirement.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include "gpureport/ExitCode.h"
#include "host/Fields.h"

namespace gpureport {

namespace {

using protocol::GPUKind;
using Kind = Term::Kind;

/// The probe says 4.1 for every newer driver.
constexpr int kHighestProbedGL = 401;

/// What --require answers with: 0, 9, or why it can't be told.
using Code = int;

int rank(Code verdict) {
  return verdict == kComplete ? 0 : verdict == kNotMet ? 2 : 1;
}

/// Terms joined by "and": one that is not met decides.
Code both(Code one, Code other) {
  return rank(other) > rank(one) ? other : one;
}
/// GPUs joined by "or": one that meets it decides.
Code either(Code one, Code other) {
  return rank(other) < rank(one) ? other : one;
}

Code told(bool met) {
  return met ? kComplete : kNotMet;
}

/// "4.1" and "3.0 PoCL" as 401 and 300; "4.60 NVIDIA" as 460 and "4.6" as 406.
std::optional<int> versionNumber(const std::string& text) {
  static const std::regex begin("([0-9]{1,4})\\.([0-9]{1,4})([^0-9].*)?");
  std::smatch part;
  if (text.size() > 1000 || !std::regex_match(text, part, begin)) return std::nullopt;
  return std::stoi(part[1]) * 100 + std::stoi(part[2]);
}

/// A judgement of one value, or of its absence.
template <class T, class Judge>
Code judge(const host::Inspection& inspection, const host::Gpu& gpu, const char* path,
           Judge decide) {
  const host::Answer answer = host::FieldAnswer(gpu, path);
  if (const auto* reason = std::get_if<host::Reason>(&answer)) return ExitCode(inspection, *reason);
  const T* value = std::get_if<T>(&std::get<host::Value>(answer));
  return value ? decide(*value) : kUnanswered;
}

Code versionAtLeast(const host::Inspection& inspection, const host::Gpu& gpu, const char* path,
                    int wanted) {
  return judge<std::string>(inspection, gpu, path, [&](const std::string& text) {
    const std::optional<int> version = versionNumber(text);
    return version ? told(*version >= wanted) : kUnanswered;
  });
}

Code openGLAtLeast(const host::Inspection& inspection, const host::Gpu& gpu, const Term& term) {
  const int wanted = term.major * 100 + term.minor;
  const Code probed =
      versionAtLeast(inspection, gpu, "version", std::min(wanted, kHighestProbedGL));
  if (wanted <= kHighestProbedGL || probed != kComplete) return probed;
  // GLSL is numbered like OpenGL from 3.3 on, with a digit more.
  return versionAtLeast(inspection, gpu, "glsl_version", term.major * 100 + term.minor * 10);
}

Code meets(const Term& term, const host::Inspection& inspection, const host::Gpu& gpu) {
  const auto flag = [&](const char* path, bool wanted) {
    return judge<bool>(inspection, gpu, path, [&](bool value) { return told(value == wanted); });
  };
  switch (term.kind) {
    case Kind::OpenGL:
      return openGLAtLeast(inspection, gpu, term);
    case Kind::OpenCL:
      return versionAtLeast(inspection, gpu, "device_version", term.major * 100 + term.minor);
    case Kind::Memory:
      return judge<std::int64_t>(inspection, gpu, "memory_bytes",
                                 [&](std::int64_t bytes) { return told(bytes >= term.bytes); });
    case Kind::Discrete:
      return flag("integrated", false);
    case Kind::Glsl:
      return flag("glsl_program_links", true);
    case Kind::Framebuffer:
      return flag("framebuffer_ok", true);
  }
  return kUnanswered;
}

/// The API that a term names; none for a term of any GPU.
std::optional<GPUKind> apiOf(const Term& term) {
  switch (term.kind) {
    case Kind::OpenGL:
    case Kind::Glsl:
    case Kind::Framebuffer:
      return GPUKind::OpenGL;
    case Kind::OpenCL:
      return GPUKind::OpenCL;
    case Kind::Memory:
    case Kind::Discrete:
      break;
  }
  return std::nullopt;
}

/// What an API without the wanted GPU says: not met, unless GPUs may have gone unseen.
Code unseen(const host::Inspection& inspection, const host::Api& api, GPUKind kind) {
  if (inspection.status == host::Status::FailedToStart) return kNotStarted;
  const bool openGL = kind == GPUKind::OpenGL;
  for (const host::Incident& incident : inspection.incidents) {
    const std::string& stage = incident.question;
    const bool ours = stage.empty() || stage.find(openGL ? "GL" : "CL") != std::string::npos;
    const bool list = stage.empty() || stage.rfind("Num", 0) == 0 || stage.rfind("ZOR", 0) == 0 ||
                      stage.rfind("OGLContext", 0) == 0;
    if (!incident.gpu && ours && list)
      return incident.kind == host::Incident::Kind::Hung    ? kHung
             : incident.kind == host::Incident::Kind::Stuck ? kStuck
                                                            : kCrashed;
  }
  if (!api.gpus.empty() || api.status == host::ApiStatus::Ok) return kNotMet;
  switch (api.status) {
    case host::ApiStatus::Hung:
      return kHung;
    case host::ApiStatus::Crashed:
      return kCrashed;
    case host::ApiStatus::Failed:
      return kUnanswered;
    case host::ApiStatus::Ok:
    case host::ApiStatus::Absent:
      break;
  }
  // A report that was torn, or an API that was left out, knows nothing.
  return inspection.status == host::Status::Torn || api.notAsked ? kUnanswered : kNotMet;
}

/// One GPU of the API has all of the terms that are its own or anybody's.
Code evaluateApi(const std::vector<Term>& terms, const host::Inspection& inspection, GPUKind kind) {
  const host::Api& api = kind == GPUKind::OpenGL ? inspection.openGL : inspection.openCL;
  Code best = unseen(inspection, api, kind);
  for (const host::Gpu& gpu : api.gpus) {
    Code all = kComplete;
    for (const Term& term : terms)
      if (apiOf(term).value_or(kind) == kind) all = both(all, meets(term, inspection, gpu));
    best = either(best, all);
  }
  return best;
}

std::optional<Term> parseVersion(const std::smatch& part) {
  Term term;
  term.kind = part[1] == "opengl" ? Kind::OpenGL : Kind::OpenCL;
  term.major = std::stoi(part[2]);
  term.minor = part[4].matched ? std::stoi(part[4]) : 0;
  return term;
}

std::optional<Term> parseMemory(const std::smatch& part) {
  static const std::string units = "KMGT";
  const std::string unit = part[3];
  const std::size_t power = unit.empty() ? 0 : units.find(unit[0]) + 1;
  const double bytes = std::stod(part[1]) * static_cast<double>(std::int64_t{1} << (10 * power));
  if (bytes > 9e18) return std::nullopt;
  Term term;
  term.kind = Kind::Memory;
  term.bytes = static_cast<std::int64_t>(bytes);
  return term;
}

std::optional<Term> parseTerm(const std::string& text) {
  static const std::regex version("(opengl|opencl)>=([0-9]{1,3})(\\.([0-9]{1,2}))?");
  static const std::regex memory("memory>=([0-9]{1,15}(\\.[0-9]{1,9})?)(KiB|MiB|GiB|TiB|B|)");
  static const std::pair<const char*, Kind> words[] = {
      {"discrete", Kind::Discrete}, {"glsl", Kind::Glsl}, {"framebuffer", Kind::Framebuffer}};
  std::smatch part;
  if (std::regex_match(text, part, version)) return parseVersion(part);
  if (std::regex_match(text, part, memory)) return parseMemory(part);
  for (const auto& [word, kind] : words)
    if (text == word) {
      Term term;
      term.kind = kind;
      return term;
    }
  return std::nullopt;
}

}  // namespace

std::optional<std::vector<Term>> ParseRequirement(const std::string& text, std::string& error) {
  std::vector<Term> terms;
  std::istringstream stream(text);
  for (std::string each; std::getline(stream, each, ',');) {
    each.erase(std::remove(each.begin(), each.end(), ' '), each.end());
    const std::optional<Term> term = parseTerm(each);
    if (!term) {
      error = "--require: \"" + each +
              "\" is none of opengl>=3.3, opencl>=1.2, memory>=2GiB, discrete, glsl, framebuffer";
      return std::nullopt;
    }
    terms.push_back(*term);
  }
  if (!terms.empty()) return terms;
  error = "--require: no term";
  return std::nullopt;
}

int Evaluate(const std::vector<Term>& terms, const host::Inspection& inspection) {
  const auto named = [&](GPUKind kind) {
    return std::any_of(terms.begin(), terms.end(),
                       [&](const Term& term) { return apiOf(term) == kind; });
  };
  const bool openGL = named(GPUKind::OpenGL);
  const bool openCL = named(GPUKind::OpenCL);
  if (openGL && openCL)
    return both(evaluateApi(terms, inspection, GPUKind::OpenGL),
                evaluateApi(terms, inspection, GPUKind::OpenCL));
  if (openGL || openCL)
    return evaluateApi(terms, inspection, openGL ? GPUKind::OpenGL : GPUKind::OpenCL);
  return either(evaluateApi(terms, inspection, GPUKind::OpenGL),
                evaluateApi(terms, inspection, GPUKind::OpenCL));
}

}  // namespace gpureport
