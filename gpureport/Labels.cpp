#include "gpureport/Forms.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <regex>
#include <utility>

#include "gpureport/Values.h"
#include "host/Fields.h"

namespace gpureport {
namespace {

constexpr std::size_t kLongestLabel = 63;
/// Three runs of an hourly timer: one that fails loses no label, a dead node loses them all.
constexpr std::chrono::hours kLifetime(3);

bool isAlphanumeric(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// What Kubernetes takes as a label's value: letters, digits and "._-", with a letter or digit at
/// both ends. Runs of other bytes become one "-". Empty where nothing is left.
std::string asLabel(const std::string& text) {
  std::string value;
  for (const char c : text) {
    const bool allowed = isAlphanumeric(c) || c == '.' || c == '_' || c == '-';
    if (value.empty() ? isAlphanumeric(c) : allowed || value.back() != '-') {
      value += allowed ? c : '-';
    }
    if (value.size() == kLongestLabel) {
      break;
    }
  }
  while (!value.empty() && !isAlphanumeric(value.back())) {
    value.pop_back();
  }
  return value;
}

/// Major and minor of "4.1" or "3.0 CUDA".
std::optional<std::pair<int, int>> version(const host::Gpu& gpu) {
  const std::string text =
      TextOf(gpu, gpu.kind == protocol::GPUKind::OpenGL ? "version" : "device_version");
  std::pair<int, int> number;
  const bool isVersion = std::sscanf(text.c_str(), "%4d.%4d", &number.first, &number.second) == 2;
  return isVersion ? std::optional(number) : std::nullopt;
}

class Lines {
 public:
  explicit Lines(std::string prefix) : fPrefix(std::move(prefix)) {}
  void comment(const std::string& text) { fText += "# " + text + '\n'; }
  /// A label without a value would say that the feature is there, so it is left out.
  void label(const std::string& key, const std::string& text) {
    if (const std::string value = asLabel(text); !value.empty()) {
      fText += fPrefix + "gpuprobe." + key + '=' + value + '\n';
    }
  }
  const std::string& text() const { return fText; }

 private:
  std::string fPrefix;
  std::string fText;
};

void writeGpu(Lines& lines, const std::string& key, const host::Gpu& gpu) {
  lines.label(key + "product", TextOf(gpu, "name"));
  lines.label(key + "type", TypeOf(gpu));
  lines.label(key + "vendor-id", TextOf(gpu, "vendor_id"));
  lines.label(key + "device-id", TextOf(gpu, "device_id"));
  lines.label(key + "driver-version", TextOf(gpu, "driver_version"));
  if (const auto bytes = host::FieldValue<std::int64_t>(gpu, "memory_bytes")) {
    lines.label(key + "memory-mib", std::to_string(*bytes >> 20));
  }
}

void writeApi(Lines& lines, const std::string& key, const host::Api& api) {
  // Where the driver died before it listed its GPUs, or nobody asked, who knows how many there are.
  const bool listed = api.status == host::ApiStatus::Ok || api.status == host::ApiStatus::Absent;
  if ((listed && !api.notAsked) || !api.gpus.empty()) {
    lines.label(key + "count", std::to_string(api.gpus.size()));
  }
  std::optional<std::pair<int, int>> best;
  for (const host::Gpu& gpu : api.gpus) {
    best = std::max(best, version(gpu));
  }
  if (best) {
    lines.label(key + "version.major", std::to_string(best->first));
    lines.label(key + "version.minor", std::to_string(best->second));
  }
  for (const host::Gpu& gpu : api.gpus) {
    writeGpu(lines, key + std::to_string(gpu.index) + '.', gpu);
  }
}

}  // namespace

bool IsLabelPrefix(const std::string& prefix) {
  static const std::regex dnsName(
      "[a-z0-9]([a-z0-9-]*[a-z0-9])?(\\.[a-z0-9]([a-z0-9-]*[a-z0-9])?)*/");
  constexpr std::size_t kLongestName = 253;
  return prefix.empty() || (prefix.size() <= kLongestName + 1 && std::regex_match(prefix, dnsName));
}

std::string Labels(const host::Inspection& inspection, const std::string& prefix) {
  Lines lines(prefix);
  lines.comment("+expiry-time=" + UtcTime(inspection.createdAt + kLifetime));
  lines.label("status", name(inspection.status));
  writeApi(lines, "opengl.", inspection.openGL);
  writeApi(lines, "opencl.", inspection.openCL);
  return lines.text();
}

}  // namespace gpureport
