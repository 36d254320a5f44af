#include "host/Fields.h"

#include <array>
#include <boost/date_time/gregorian/gregorian_types.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>

namespace host {

namespace {

using protocol::GPUKind;
using Conversion = Field::Conversion;
using Group = Field::Group;

/// The questions whose field has a name of its own.
struct NamedField {
  std::string_view key;
  const char* name;
  Conversion conversion = Conversion::None;
};

constexpr NamedField kNamedFields[] = {
    {"GLVersion", "version"},
    {"IsIntegratedGLGPU", "integrated"},
    {"GLMemoryMB", "memory_bytes", Conversion::MiBToBytes},
    {"GLName", "name"},
    {"GLVendor", "vendor"},
    {"GLVendorID", "vendor_id", Conversion::Identifier},
    {"GLDriverVersion", "driver_version"},
    {"GLRectTextureSize", "rect_texture_size"},
    {"GLRenderer", "renderer"},
    {"GLRendererID", "device_id", Conversion::Identifier},
    {"HasGLNPOTSupport", "npot_textures"},
    {"GLDriver", "driver"},
    {"GLDriverDate", "driver_date", Conversion::Date},
    {"CanCompileProgramGLSL", "glsl_program_links"},
    {"GLFrameBufferOK", "framebuffer_ok"},
    {"GL_SHADING_LANGUAGE_VERSION", "glsl_version"},
    {"GL_MAX_PROGRAM_INSTRUCTIONS_ARB", "max_program_instructions", Conversion::First},
    {"CLPlatformVersion", "platform_version"},
    {"CLDeviceVersion", "device_version"},
    {"IsIntegratedCLGPU", "integrated"},
    {"CLMemoryMB", "memory_bytes", Conversion::MiBToBytes},
    {"CLName", "name"},
    {"CLVendor", "vendor"},
    {"CLVendorID", "vendor_id", Conversion::Identifier},
    {"CLDriverVersion", "driver_version"},
    {"CUDASupported", "cuda_supported"},
    {"CUDAVersion", "cuda_version"},
    {"CLBandwidth", "copy_bytes_per_second"},
    {"CLCompute", "kernel_seconds"},
    {"NativeName", "name"},
};

constexpr std::int64_t kBytesPerMiB = std::int64_t{1} << 20;

Field makeField(const protocol::Question& question) {
  const std::string_view key = question.name ? question.name : question.key;
  Field field;
  field.question = &question;
  for (const NamedField& named : kNamedFields)
    if (named.key == key) {
      field.name = named.name;
      field.conversion = named.conversion;
      return field;
    }
  // "GL_MAX_..." as it is, and an extension without the library's prefix.
  field.name = key.substr(key.rfind(':') == std::string_view::npos ? 0 : key.rfind(':') + 1);
  field.group = question.kind == protocol::Kind::Flag ? Group::Extensions : Group::Limits;
  field.conversion = field.group == Group::Limits ? Conversion::First : Conversion::None;
  return field;
}

std::vector<Field> makeFields(GPUKind kind) {
  std::vector<Field> fields;
  for (const protocol::Question& question : protocol::kQuestions)
    if (question.gpu == kind) fields.push_back(makeField(question));
  return fields;
}

std::string identifierText(std::int64_t identifier) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%04llx", static_cast<unsigned long long>(identifier));
  return text;
}

/// None for what is no day of the calendar.
std::optional<std::string> isoDay(const char* year, int month, const char* day) {
  try {
    const boost::gregorian::date date(static_cast<unsigned short>(std::atoi(year)),
                                      static_cast<unsigned short>(month),
                                      static_cast<unsigned short>(std::atoi(day)));
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", static_cast<int>(date.year()),
                  static_cast<int>(date.month()), static_cast<int>(date.day()));
    return text;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

int monthNumber(const std::string& abbreviation) {
  static const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const std::size_t place = months.find(abbreviation);
  return place == std::string::npos ? 0 : static_cast<int>(place / 3) + 1;
}

std::optional<Value> convertedInteger(Conversion conversion, std::int64_t integer) {
  if (conversion == Conversion::None) return integer;
  if (integer < 0) return std::nullopt;
  if (conversion == Conversion::Identifier) return identifierText(integer);
  if (integer > std::numeric_limits<std::int64_t>::max() / kBytesPerMiB) return std::nullopt;
  return integer * kBytesPerMiB;
}

std::optional<Value> convertedValue(const Field& field, const Value& value) {
  if (const auto* list = std::get_if<std::vector<std::int64_t>>(&value))
    return list->empty() ? std::nullopt : std::optional<Value>(list->front());
  if (const auto* integer = std::get_if<std::int64_t>(&value))
    return convertedInteger(field.conversion, *integer);
  if (const auto* number = std::get_if<double>(&value); number && !std::isfinite(*number))
    return std::nullopt;
  const auto* text = std::get_if<std::string>(&value);
  return text && field.conversion == Conversion::Date ? Value(IsoDate(*text)) : value;
}

}  // namespace

std::string Field::path() const {
  const char* folder = group == Group::Limits       ? "limits."
                       : group == Group::Extensions ? "extensions."
                                                    : "";
  return folder + name;
}

const std::vector<Field>& Fields(GPUKind kind) {
  static const std::array<std::vector<Field>, 3> fields{
      makeFields(GPUKind::OpenGL), makeFields(GPUKind::OpenCL), makeFields(GPUKind::Native)};
  return fields[static_cast<std::size_t>(kind)];
}

const Field* FieldOf(const protocol::Question& question) {
  for (const Field& field : Fields(question.gpu))
    if (field.question == &question) return &field;
  return nullptr;
}

Answer Converted(const Field& field, const Answer& answer) {
  const Value* value = std::get_if<Value>(&answer);
  if (!value) return answer;
  const std::optional<Value> converted = convertedValue(field, *value);
  return converted ? Answer(*converted) : Answer(Reason::Failed);
}

std::optional<Value> ToReportValue(const Field& field, const Value& value) {
  const auto* integer = std::get_if<std::int64_t>(&value);
  const auto* text = std::get_if<std::string>(&value);
  switch (field.conversion) {
    case Conversion::MiBToBytes:
      if (integer && *integer >= 0) return *integer / kBytesPerMiB;
      return std::nullopt;
    case Conversion::First:
      if (integer) return std::vector<std::int64_t>{*integer};
      return std::nullopt;
    case Conversion::Identifier: {
      if (!text || text->compare(0, 2, "0x") != 0 || text->size() > 17 ||
          text->find_first_not_of("0123456789abcdefABCDEF", 2) != std::string::npos)
        return std::nullopt;
      return static_cast<std::int64_t>(std::strtoll(text->c_str() + 2, nullptr, 16));
    }
    case Conversion::None:
    case Conversion::Date:
      break;
  }
  return value;
}

Answer FieldAnswer(const Gpu& gpu, std::string_view path) {
  const std::vector<Field>& fields = Fields(gpu.kind);
  for (std::size_t i = 0; i < fields.size() && i < gpu.answers.size(); ++i)
    if (fields[i].path() == path) return Converted(fields[i], gpu.answers[i]);
  return Reason::Absent;
}

std::string IsoDate(const std::string& date) {
  // No regular expressions: they cost each run of the tool half a millisecond.
  constexpr int kManagementSize = 25;
  const int size = static_cast<int>(date.size());
  char year[5] = "";
  char month[4] = "";
  char day[3] = "";
  int end = 0;
  const auto isMonthFirst = [&] {
    return std::sscanf(date.c_str(), "%2[0-9]%*1[-/]%2[0-9]%*1[-/]%4[0-9]%n", month, day, year,
                       &end) == 3 &&
           end == size;
  };
  const auto isManagement = [&] {
    return std::sscanf(date.c_str(), "%4[0-9]%2[0-9]%2[0-9]%*6[0-9].%*6[0-9]%*1[-+]%*3[0-9]%n",
                       year, month, day, &end) == 3 &&
           end == size && end == kManagementSize;
  };
  const auto isUnix = [&] {
    char weekday[4] = "";
    char hours[9] = "";
    return std::sscanf(date.c_str(),
                       "%1[A-Z]%2[a-z]%*1[ ]%1[A-Z]%2[a-z]%*[ ]%2[0-9]%*1[ ]%8[0-9:]%*1[ ]%n",
                       weekday, weekday + 1, month, month + 1, day, hours, &end) == 6 &&
           std::strlen(weekday) == 3 && std::strlen(month) == 3 && std::strlen(hours) == 8 &&
           end > 0 && end + 4 <= size && size <= 64;
  };
  std::optional<std::string> iso;
  if (isMonthFirst() || isManagement())
    iso = isoDay(year, std::atoi(month), day);
  else if (isUnix())
    iso = isoDay(date.c_str() + size - 4, monthNumber(month), day);
  return iso.value_or(date);
}

}  // namespace host
