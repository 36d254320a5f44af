#include "gpureport/JsonForms.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "host/Fields.h"
#include "host/Inspect.h"
#include "host/Json.h"

namespace gpureport {

namespace {

using Json = nlohmann::ordered_json;

/// One step of a key: "opengl", "[0]". Empty at the end, or where the key is not one.
std::string takeStep(std::string& key) {
  const bool index = !key.empty() && key.front() == '[';
  std::size_t end = index ? key.find(']') : key.find_first_of(".[");
  if (index && end == std::string::npos) return {};
  if (index) ++end;
  std::string step = key.substr(0, end);
  key.erase(0, step.size());
  if (!key.empty() && key.front() == '.') key.erase(0, 1);
  return step;
}

const Json* follow(const Json& from, const std::string& step) {
  if (step.front() != '[') {
    const auto found = from.is_object() ? from.find(step) : from.end();
    return found == from.end() ? nullptr : &*found;
  }
  const Json& array = from.is_object() && from.contains("gpus") ? from["gpus"] : from;
  const std::string digits = step.substr(1, step.size() - 2);
  if (!array.is_array() || digits.empty() || digits.size() > 6 ||
      digits.find_first_not_of("0123456789") != std::string::npos)
    return nullptr;
  const auto index = static_cast<std::size_t>(std::stoi(digits));
  return index < array.size() ? &array[index] : nullptr;
}

/// The reason of a null, by the GPU that it is in.
std::optional<host::Reason> reasonOf(const Json* gpu, const std::string& path) {
  if (!gpu || !gpu->is_object() || !gpu->contains("missing")) return std::nullopt;
  const Json& missing = (*gpu)["missing"];
  if (!missing.contains(path)) return std::nullopt;
  for (int reason = 0; reason <= static_cast<int>(host::Reason::Unknown); ++reason)
    if (missing[path] == host::name(static_cast<host::Reason>(reason)))
      return static_cast<host::Reason>(reason);
  return std::nullopt;
}

Json orNull(bool known, const Json& value) {
  return known ? value : Json();
}

std::string line(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json guardIncident(const GuardRun& run) {
  using Status = GuardRun::Status;
  if (run.status == Status::Finished || run.status == Status::FailedToStart) return {};
  const bool crashed = run.status == Status::Crashed;
  return {{"kind", crashed                       ? "crashed"
                   : run.status == Status::Stuck ? "stuck"
                                                 : "hung"},
          {"signal", orNull(crashed, run.ending.name())},
          {"seconds", std::round(run.durationSeconds * 1000) / 1000}};
}

}  // namespace

Got GetValue(const host::Inspection& inspection, const std::string& key) {
  const Json all = Json::parse(host::ToJson(inspection));
  const Json* place = &all;
  const Json* gpu = nullptr;
  std::string rest = key;
  std::string path;
  while (!rest.empty()) {
    const std::string step = takeStep(rest);
    place = step.empty() ? nullptr : follow(*place, step);
    if (!place) return {};
    if (step.front() == '[') {
      gpu = place;
      path = rest;
    }
  }
  Got got;
  got.known = !key.empty();
  if (place->is_null())
    got.missing = reasonOf(gpu, path);
  else
    got.value = place->is_string() ? place->get<std::string>() : place->dump(2);
  return got;
}

std::string JsonLines(const host::Inspection& inspection, const Told& told) {
  std::string lines;
  for (const host::Api* api : {&inspection.openGL, &inspection.openCL})
    for (const host::Gpu& gpu : api->gpus) {
      const std::vector<host::Field>& fields = host::Fields(gpu.kind);
      for (std::size_t i = 0; i < fields.size() && i < gpu.answers.size(); ++i)
        if (told.count({gpu.tag(), fields[i].question}) == 0)
          lines += host::ToJsonLine({gpu.tag(), fields[i].question, gpu.answers[i]}) + "\n";
    }
  for (const host::Incident& incident : inspection.incidents)
    lines += host::ToJsonLine(incident) + "\n";
  return lines + host::RunToJsonLine(inspection) + "\n";
}

std::string GuardVerdict(const GuardRun& run) {
  static const char* const words[] = {"finished", "crashed", "hung", "stuck", "failed_to_start"};
  using Kind = nkutil::Ending::Kind;
  const bool exited = run.ending.kind == Kind::Exited;
  const bool crashed = run.status == GuardRun::Status::Crashed;
  return line({{"schema", "gpuprobe-guard"},
               {"schema_version", 1},
               {"run",
                {{"status", words[static_cast<int>(run.status)]},
                 {"exit_code", orNull(exited, run.ending.code)},
                 {"signal", orNull(crashed, run.ending.name())},
                 {"duration_seconds", std::round(run.durationSeconds * 1000) / 1000},
                 {"deadline_seconds",
                  orNull(run.deadlineSeconds.has_value(), run.deadlineSeconds.value_or(0))},
                 {"tree_processes_killed", run.killedProcesses},
                 {"stdout_bytes", run.outBytes},
                 {"stderr_bytes", run.errBytes},
                 {"interrupted", run.interrupted},
                 {"start_error", orNull(!run.startError.empty(), run.startError)}}},
               {"incident", guardIncident(run)}});
}

}  // namespace gpureport
