#include "host/Json.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "host/Fields.h"
#include "host/Inspect.h"
#include "host/Text.h"

namespace host {

namespace {

using Json = nlohmann::ordered_json;

template <class T>
Json orNull(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

Json orNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

/// To the millisecond: more says nothing and reads badly.
double rounded(double seconds) {
  return std::round(seconds * 1000) / 1000;
}

Json valueJson(const Value& value) {
  return std::visit([](const auto& typed) { return Json(typed); }, value);
}

Json answerJson(const Answer& answer) {
  const Value* value = std::get_if<Value>(&answer);
  return value ? valueJson(*value) : Json();
}

Json gpuJson(const Gpu& gpu) {
  Json object{{"tag", gpu.tag()}};
  Json limits = Json::object();
  Json extensions = Json::object();
  Json missing = Json::object();
  const std::vector<Field>& fields = Fields(gpu.kind);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const Field& field = fields[i];
    const Answer answer =
        i < gpu.answers.size() ? Converted(field, gpu.answers[i]) : Reason::NotReached;
    Json& place = field.group == Field::Group::Limits       ? limits
                  : field.group == Field::Group::Extensions ? extensions
                                                            : object;
    place[field.name] = answerJson(answer);
    if (const Reason* reason = std::get_if<Reason>(&answer)) missing[field.path()] = name(*reason);
  }
  if (gpu.kind == protocol::GPUKind::OpenGL) {
    object["limits"] = std::move(limits);
    object["extensions"] = std::move(extensions);
  }
  object["missing"] = std::move(missing);
  return object;
}

Json apiJson(const Api& api) {
  Json gpus = Json::array();
  for (const Gpu& gpu : api.gpus) gpus.push_back(gpuJson(gpu));
  return {{"status", name(api.status)}, {"not_asked", api.notAsked}, {"gpus", std::move(gpus)}};
}

Json incidentJson(const Incident& incident) {
  const bool known = incident.evidence != Incident::Evidence::None;
  return {{"kind", name(incident.kind)},
          {"attempt", incident.attempt},
          {"question", orNull(incident.question)},
          {"gpu", orNull(incident.gpu)},
          {"library", orNull(incident.library)},
          {"library_offset", orNull(incident.libraryOffset)},
          {"package", orNull(incident.package)},
          {"signal", orNull(incident.signal)},
          {"thread_state", orNull(incident.threadState)},
          {"seconds", rounded(incident.seconds)},
          {"evidence", known ? Json(name(incident.evidence)) : Json()}};
}

Json runJson(const Inspection& inspection) {
  return {{"status", name(inspection.status)},
          {"exit_code", orNull(inspection.exitCode)},
          {"duration_seconds", rounded(inspection.durationSeconds)},
          {"deadline_seconds", orNull(inspection.deadlineSeconds)},
          {"attempts", inspection.attempts},
          {"questions_answered", inspection.answeredQuestions()},
          {"questions_unanswered", inspection.unansweredQuestions()},
          {"start_error", orNull(inspection.startError)}};
}

Json messagesJson(const std::vector<Message>& messages) {
  Json array = Json::array();
  for (const Message& message : messages)
    array.push_back({{"attempt", message.attempt},
                     {"question", orNull(message.question)},
                     {"text", message.text}});
  return array;
}

Json unknownKeysJson(const std::map<std::string, std::string>& keys) {
  // An ordered object looks for its keys from the front each time; this has too many for that.
  Json object = Json::object();
  auto& members = object.get_ref<Json::object_t&>();
  members.reserve(keys.size());
  for (const auto& [key, value] : keys) members.Json::object_t::Container::emplace_back(key, value);
  return object;
}

std::string written(const Json& json, int indent) {
  return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string ToJson(const Inspection& inspection) {
  Json incidents = Json::array();
  for (const Incident& incident : inspection.incidents) incidents.push_back(incidentJson(incident));
  const Json all{{"schema", "gpuprobe-report"},
                 {"schema_version", 1},
                 {"tool", {{"name", "gpureport"}, {"version", GPUPROBE_VERSION}}},
                 {"created_at", UtcTime(inspection.createdAt)},
                 {"run", runJson(inspection)},
                 {"incidents", std::move(incidents)},
                 {"opengl", apiJson(inspection.openGL)},
                 {"opencl", apiJson(inspection.openCL)},
                 {"messages", messagesJson(inspection.messages)},
                 {"unknown_keys", unknownKeysJson(inspection.unknownKeys)}};
  return written(all, 2) + "\n";
}

std::string ToJsonLine(const AnswerEvent& event) {
  const Field* field = event.question ? FieldOf(*event.question) : nullptr;
  const Answer answer = field ? Converted(*field, event.answer) : event.answer;
  const Reason* reason = std::get_if<Reason>(&answer);
  return written({{"gpu", event.tag},
                  {"field", field ? Json(field->path()) : Json()},
                  {"value", answerJson(answer)},
                  {"reason", reason ? Json(name(*reason)) : Json()}},
                 -1);
}

std::string ToJsonLine(const Incident& incident) {
  return written({{"incident", incidentJson(incident)}}, -1);
}

std::string RunToJsonLine(const Inspection& inspection) {
  return written({{"run", runJson(inspection)}}, -1);
}

}  // namespace host
