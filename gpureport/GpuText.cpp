#include "gpureport/GpuText.h"

#include <algorithm>
#include <cctype>

#include "gpureport/Markup.h"
#include "host/Fields.h"

namespace gpureport {

namespace {

using host::Field;

/// One answer within a row: "%" in the words stands for it. A flag gives one of two texts.
struct Part {
  const char* field;
  const char* words = "%";
  const char* otherwise = "";  ///< of a flag that is false
};

struct RowPlan {
  const char* label;
  std::vector<Part> parts;  ///< of the first one a missing answer is always told, too
};

const std::vector<RowPlan>& planOf(protocol::GPUKind kind) {
  static const std::vector<RowPlan> openGL = {
      {"Memory", {{"memory_bytes"}, {"integrated", "integrated", "discrete"}}},
      {"OpenGL", {{"version"}, {"glsl_version", "GLSL %"}}},
      {"Driver", {{"driver"}, {"driver_version"}, {"driver_date", "of %"}}},
      {"Vendor", {{"vendor"}, {"vendor_id", "vendor %"}, {"device_id", "device %"}}},
      {"Renderer", {{"renderer"}}},
      {"Checks",
       {{"glsl_program_links", "shaders link", "shaders don't link"},
        {"framebuffer_ok", "framebuffers work", "framebuffers don't work"},
        {"npot_textures", "textures of any size", "textures of powers of two only"}}},
  };
  static const std::vector<RowPlan> openCL = {
      {"Memory", {{"memory_bytes"}, {"integrated", "integrated", "discrete"}}},
      {"OpenCL", {{"device_version"}}},
      {"Platform", {{"platform_version"}}},
      {"Driver", {{"driver_version"}}},
      {"Vendor", {{"vendor"}, {"vendor_id", "vendor %"}}},
      {"CUDA", {{"cuda_version"}}},
      {"Copy speed", {{"copy_bytes_per_second"}}},
      {"Kernel time", {{"kernel_seconds"}}},
  };
  return kind == protocol::GPUKind::OpenGL ? openGL : openCL;
}

std::string unitOf(const host::Gpu& gpu, const std::string& path) {
  for (const Field& field : host::Fields(gpu.kind))
    if (field.path() == path) return field.question->unit;
  return {};
}

struct ValueText {
  const Part& part;
  std::string unit;

  std::string operator()(bool value) const { return value ? part.words : part.otherwise; }
  std::string operator()(std::int64_t value) const {
    return filled(Quantity(static_cast<double>(value), unit));
  }
  std::string operator()(double value) const { return filled(Quantity(value, unit)); }
  std::string operator()(const std::string& value) const { return filled(value); }
  std::string operator()(const std::vector<std::int64_t>& value) const {
    return value.empty() ? "" : (*this)(value.front());
  }
  std::string filled(const std::string& value) const {
    std::string text = part.words;
    return text.replace(text.find('%'), 1, value);
  }
};

void append(std::string& text, const std::string& more) {
  if (!text.empty()) text += ", ";
  text += more;
}

Row makeRow(const host::Gpu& gpu, const RowPlan& plan) {
  Row row{plan.label, {}, Look::Plain};
  for (const Part& part : plan.parts) {
    const host::Answer answer = host::FieldAnswer(gpu, part.field);
    const auto* reason = std::get_if<host::Reason>(&answer);
    if (!reason)
      append(row.text,
             std::visit(ValueText{part, unitOf(gpu, part.field)}, std::get<host::Value>(answer)));
    else if (&part == &plan.parts.front())
      row.text = Words(*reason);
    else if (IsLost(*reason))
      append(row.text, std::string(part.field) + ": " + Words(*reason));
    if (reason && IsLost(*reason)) row.look = Look::Bad;
    if (reason && plan.parts.size() == 1 && !IsLost(*reason)) row.look = Look::Dim;
  }
  return row;
}

/// "texture units 8" of "GL_MAX_TEXTURE_UNITS"; the number never stands alone.
std::string limitText(const Field& field, std::int64_t limit) {
  std::string text = field.name == "rect_texture_size"          ? "rectangle texture"
                     : field.name == "max_program_instructions" ? "program instructions"
                                                                : field.name.substr(7);
  for (char& c : text)
    c = c == '_' ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text + "\u00a0" + std::to_string(limit);
}

/// The answers that are missing for one reason, folded: "3 driver hung".
struct Missing {
  std::vector<std::pair<const char*, int>> reasons;
  Look look = Look::Plain;

  void add(host::Reason reason) {
    if (IsLost(reason)) look = Look::Bad;
    const char* words = Words(reason);
    for (auto& [known, count] : reasons)
      if (known == words) {
        ++count;
        return;
      }
    reasons.emplace_back(words, 1);
  }
  std::string text() const {
    std::string text;
    for (const auto& [words, count] : reasons) append(text, std::to_string(count) + " " + words);
    return text;
  }
};

Row limitsRow(const host::Gpu& gpu) {
  Row row{"Limits", {}, Look::Plain};
  Missing missing;
  for (const Field& field : host::Fields(gpu.kind)) {
    const bool more = field.name == "rect_texture_size" || field.name == "max_program_instructions";
    if (field.group != Field::Group::Limits && !more) continue;
    const host::Answer answer = host::FieldAnswer(gpu, field.path());
    if (const auto* reason = std::get_if<host::Reason>(&answer)) {
      missing.add(*reason);
      continue;
    }
    const auto* limit = std::get_if<std::int64_t>(&std::get<host::Value>(answer));
    if (limit) append(row.text, limitText(field, *limit));
  }
  if (!missing.reasons.empty()) append(row.text, missing.text());
  row.look = missing.look;
  return row;
}

Row extensionsRow(const host::Gpu& gpu) {
  Row row{"Extensions", {}, Look::Plain};
  Missing missing;
  int there = 0;
  int asked = 0;
  std::string without;
  for (const Field& field : host::Fields(gpu.kind)) {
    if (field.group != Field::Group::Extensions) continue;
    ++asked;
    const host::Answer answer = host::FieldAnswer(gpu, field.path());
    if (const auto* reason = std::get_if<host::Reason>(&answer)) {
      missing.add(*reason);
      continue;
    }
    const auto* has = std::get_if<bool>(&std::get<host::Value>(answer));
    if (has && *has)
      ++there;
    else
      append(without, field.name);
  }
  row.text = there == asked ? "all " + std::to_string(asked)
                            : std::to_string(there) + " of " + std::to_string(asked);
  if (!without.empty()) row.text += ", without " + without;
  if (!missing.reasons.empty()) append(row.text, missing.text());
  row.look = missing.look;
  return row;
}

}  // namespace

Row GpuTitle(const host::Gpu& gpu) {
  // What drew the pictures is a name, too.
  const bool named = host::FieldValue<std::string>(gpu, "name").has_value();
  const bool drawn = host::FieldValue<std::string>(gpu, "renderer").has_value();
  Row row = makeRow(gpu, {"", {{!named && drawn ? "renderer" : "name"}}});
  if (row.look == Look::Plain) row.look = Look::Bold;
  return row;
}

std::vector<Row> GpuRows(const host::Gpu& gpu) {
  std::vector<Row> rows;
  for (const RowPlan& plan : planOf(gpu.kind)) {
    Row row = makeRow(gpu, plan);
    const bool repeats = row.label == "Renderer" && row.text == GpuTitle(gpu).text;
    if (!repeats) rows.push_back(std::move(row));
  }
  if (gpu.kind == protocol::GPUKind::OpenGL) {
    rows.push_back(limitsRow(gpu));
    rows.push_back(extensionsRow(gpu));
  }
  return rows;
}

}  // namespace gpureport
