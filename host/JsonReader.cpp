#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/date_time/posix_time/time_parsers.hpp>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/Fields.h"
#include "host/Json.h"

namespace host {

namespace {

using ParsedJson = nlohmann::json;

/// Says what is wrong where; leaves FromJson() as its error.
struct WrongJson : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A member, null where there is none: changes of the schema only add.
const ParsedJson& member(const ParsedJson& object, const char* key) {
  static const ParsedJson none;
  if (!object.is_object()) throw WrongJson(std::string("no object around \"") + key + "\"");
  const auto found = object.find(key);
  return found == object.end() ? none : *found;
}

[[noreturn]] void refuse(const char* key) {
  throw WrongJson(std::string("\"") + key + "\" is not as it should be");
}

std::optional<std::string> optionalText(const ParsedJson& object, const char* key) {
  const ParsedJson& value = member(object, key);
  if (value.is_null()) return std::nullopt;
  if (!value.is_string()) refuse(key);
  return value.get<std::string>();
}

std::string text(const ParsedJson& object, const char* key) {
  return optionalText(object, key).value_or("");
}

template <class T>
std::optional<T> optionalInteger(const ParsedJson& object, const char* key) {
  const ParsedJson& value = member(object, key);
  if (value.is_null()) return std::nullopt;
  if (!value.is_number_integer()) refuse(key);
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) refuse(key);
    return static_cast<T>(number);
  }
  const auto number = value.get<std::int64_t>();
  if (std::is_unsigned_v<T> || number < static_cast<std::int64_t>(std::numeric_limits<T>::min()))
    refuse(key);
  return static_cast<T>(number);
}

std::optional<double> optionalNumber(const ParsedJson& object, const char* key) {
  const ParsedJson& value = member(object, key);
  if (value.is_null()) return std::nullopt;
  if (!value.is_number()) refuse(key);
  return value.get<double>();
}

/// An enumerator by its word.
template <class Enum>
Enum word(const std::string& wanted, Enum last, const char* key) {
  for (int value = 0; value <= static_cast<int>(last); ++value)
    if (wanted == name(static_cast<Enum>(value))) return static_cast<Enum>(value);
  refuse(key);
}

std::chrono::system_clock::time_point readTime(std::string iso) {
  if (iso.size() != 20 || iso.back() != 'Z') refuse("created_at");
  iso.pop_back();
  boost::posix_time::ptime time;  // no time at all
  try {
    time = boost::posix_time::from_iso_extended_string(iso);
  } catch (const std::exception&) {
    refuse("created_at");
  }
  const auto since = time - boost::posix_time::ptime(boost::gregorian::date(1970, 1, 1));
  // The clock ends in 2262.
  const std::chrono::seconds seconds(since.is_special() ? -1 : since.total_seconds());
  using std::chrono::system_clock;
  if (seconds < std::chrono::seconds(0) ||
      seconds > std::chrono::duration_cast<std::chrono::seconds>(system_clock::duration::max()))
    refuse("created_at");
  return system_clock::time_point(seconds);
}

std::optional<Value> readValue(protocol::Kind kind, Field::Conversion conversion,
                               const ParsedJson& value) {
  if (value.is_boolean() && kind == protocol::Kind::Flag) return value.get<bool>();
  if (value.is_string() &&
      (kind == protocol::Kind::Text || conversion == Field::Conversion::Identifier))
    return value.get<std::string>();
  if (value.is_number() && kind == protocol::Kind::Number) return value.get<double>();
  const bool whole = kind == protocol::Kind::Integer || kind == protocol::Kind::List;
  const bool fits = value.is_number_integer() &&
                    (!value.is_number_unsigned() ||
                     value.get<std::uint64_t>() <= std::numeric_limits<std::int64_t>::max());
  if (whole && fits) return value.get<std::int64_t>();
  return std::nullopt;
}

Answer readAnswer(const Field& field, const ParsedJson& gpu, const ParsedJson& missing) {
  const char* folder = field.group == Field::Group::Limits       ? "limits"
                       : field.group == Field::Group::Extensions ? "extensions"
                                                                 : nullptr;
  const ParsedJson& place = folder ? member(gpu, folder) : gpu;
  const ParsedJson& value = place.is_null() ? place : member(place, field.name.c_str());
  if (value.is_null()) {
    const std::string path = field.path();
    const std::optional<std::string> reason =
        missing.is_null() ? std::nullopt : optionalText(missing, path.c_str());
    return reason ? word(*reason, Reason::Unknown, path.c_str()) : Reason::Unknown;
  }
  const auto typed = readValue(field.question->kind, field.conversion, value);
  const auto own = typed ? ToReportValue(field, *typed) : std::nullopt;
  if (!own) refuse(field.name.c_str());
  return *own;
}

int readIndex(const ParsedJson& gpu, protocol::GPUKind kind) {
  const std::string tag = text(gpu, "tag");
  const std::string begin = std::string(protocol::TagWord(kind)) + "[";
  if (tag.size() < begin.size() + 2 || tag.size() > begin.size() + 7 ||
      tag.compare(0, begin.size(), begin) != 0 || tag.back() != ']')
    refuse("tag");
  const std::string digits = tag.substr(begin.size(), tag.size() - begin.size() - 1);
  if (digits.find_first_not_of("0123456789") != std::string::npos) refuse("tag");
  return std::stoi(digits);
}

Api readApi(const ParsedJson& json, protocol::GPUKind kind) {
  Api api;
  api.status = word(text(json, "status"), ApiStatus::Failed, "status");
  api.notAsked = member(json, "not_asked") == true;
  const ParsedJson& gpus = member(json, "gpus");
  if (!gpus.is_array()) refuse("gpus");
  for (const ParsedJson& each : gpus) {
    Gpu gpu;
    gpu.kind = kind;
    gpu.index = readIndex(each, kind);
    const ParsedJson& missing = member(each, "missing");
    for (const Field& field : Fields(kind)) gpu.answers.push_back(readAnswer(field, each, missing));
    api.gpus.push_back(std::move(gpu));
  }
  return api;
}

Incident readIncident(const ParsedJson& json) {
  using Kind = Incident::Kind;
  using Evidence = Incident::Evidence;
  Incident incident;
  incident.kind = word(text(json, "kind"), Kind::Stuck, "kind");
  incident.attempt = optionalInteger<int>(json, "attempt").value_or(1);
  incident.question = text(json, "question");
  incident.gpu = optionalText(json, "gpu");
  incident.library = optionalText(json, "library");
  incident.libraryOffset = optionalInteger<std::uint64_t>(json, "library_offset");
  incident.package = optionalText(json, "package");
  incident.signal = text(json, "signal");
  incident.threadState = text(json, "thread_state");
  incident.seconds = optionalNumber(json, "seconds").value_or(0);
  if (const auto evidence = optionalText(json, "evidence"))
    incident.evidence = word(*evidence, Evidence::Announced, "evidence");
  return incident;
}

void readRun(const ParsedJson& run, Inspection& inspection) {
  inspection.status = word(text(run, "status"), Status::Torn, "status");
  inspection.exitCode = optionalInteger<int>(run, "exit_code");
  inspection.durationSeconds = optionalNumber(run, "duration_seconds").value_or(0);
  inspection.deadlineSeconds = optionalNumber(run, "deadline_seconds");
  inspection.attempts = optionalInteger<int>(run, "attempts").value_or(0);
  inspection.startError = text(run, "start_error");
}

Message readMessage(const ParsedJson& json) {
  return {optionalInteger<int>(json, "attempt").value_or(1), text(json, "question"),
          text(json, "text")};
}

Inspection readInspection(const ParsedJson& json) {
  if (text(json, "schema") != "gpuprobe-report") refuse("schema");
  if (optionalInteger<int>(json, "schema_version").value_or(0) < 1) refuse("schema_version");
  Inspection inspection;
  inspection.createdAt = readTime(text(json, "created_at"));
  readRun(member(json, "run"), inspection);
  for (const ParsedJson& each : member(json, "incidents"))
    inspection.incidents.push_back(readIncident(each));
  inspection.openGL = readApi(member(json, "opengl"), protocol::GPUKind::OpenGL);
  inspection.openCL = readApi(member(json, "opencl"), protocol::GPUKind::OpenCL);
  for (const ParsedJson& each : member(json, "messages"))
    inspection.messages.push_back(readMessage(each));
  for (const auto& [key, value] : member(json, "unknown_keys").items()) {
    if (!value.is_string()) refuse("unknown_keys");
    inspection.unknownKeys.emplace(key, value.get<std::string>());
  }
  return inspection;
}

}  // namespace

std::optional<Inspection> FromJson(const std::string& text, std::string& error) {
  const ParsedJson json = ParsedJson::parse(text, nullptr, false);
  if (json.is_discarded()) {
    error = "not valid JSON";
    return std::nullopt;
  }
  try {
    return readInspection(json);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& wrong) {
    error = std::string("not a JSON report of gpureport: ") + wrong.what();
    return std::nullopt;
  }
}

}  // namespace host
