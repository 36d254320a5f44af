#include "host/gpuprobe_host.h"

#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/Inspect.h"
#include "host/Json.h"

namespace {

using nlohmann::json;

nkutil::Milliseconds readSeconds(const std::string& name, const json& value) {
  constexpr double kLongest = 1e6;
  const double seconds = value.get<double>();
  if (!(seconds > 0 && seconds <= kLongest))
    throw std::invalid_argument(name + " is not between 0 and 1000000");
  return nkutil::Milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

void readEnvironment(const json& variables, host::Options& options) {
  for (const auto& [name, value] : variables.get<json::object_t>()) {
    if (value.is_null())
      options.environment.emplace_back(name, std::nullopt);
    else
      options.environment.emplace_back(name, value.get<std::string>());
  }
}

/// Throws where the text is no such object.
host::Options readOptions(const char* text) {
  host::Options options;
  if (!text) return options;
  for (const auto& [name, value] : json::parse(text).get<json::object_t>()) {
    if (name == "probe")
      options.probe = value.get<std::string>();
    else if (name == "deadline_seconds")
      options.deadline = readSeconds(name, value);
    else if (name == "silence_seconds")
      options.silence = readSeconds(name, value);
    else if (name == "skip")
      options.skip = value.get<std::vector<std::string>>();
    else if (name == "environment")
      readEnvironment(value, options);
    else
      throw std::invalid_argument("no option is called " + name);
  }
  return options;
}

host::Inspection inspect(const char* optionsText) {
  host::Options options;
  try {
    options = readOptions(optionsText);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& failure) {
    host::Inspection result;
    result.createdAt = std::chrono::system_clock::now();
    result.startError = std::string("options: ") + failure.what();
    return result;
  }
  return host::Inspect(nkutil::systemLauncher(), options);
}

}  // namespace

char* gpuprobe_inspect(const char* options_json) {
  try {
    const std::string report = host::ToJson(inspect(options_json));
    char* copy = static_cast<char*>(std::malloc(report.size() + 1));
    if (copy) std::memcpy(copy, report.c_str(), report.size() + 1);
    return copy;
  } catch (...) {
    // Nothing but memory fails, and no exception can leave.
    return nullptr;
  }
}

void gpuprobe_free(char* report) {
  std::free(report);
}
