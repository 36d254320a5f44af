#pragma once

/// The fields of a GPU as the forms show them: names in snake case with the unit in the name, and
/// values in that unit. A GPU's own answers are in the report's units; this is the one place that
/// converts.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Inspection.h"

namespace host {

/// The field of a question.
struct Field {
  /// Where in the GPU's object it stands.
  enum class Group { Top, Limits, Extensions };
  /// What becomes of the report's value.
  enum class Conversion {
    None,
    MiBToBytes,
    Identifier,  ///< 4318 to the text "0x10de"
    Date,        ///< to ISO 8601, where it can be told
    First,       ///< the first of a list
  };

  const protocol::Question* question = nullptr;
  std::string name;  ///< "memory_bytes", "GL_MAX_DRAW_BUFFERS"
  Group group = Group::Top;
  Conversion conversion = Conversion::None;

  /// "memory_bytes", "limits.GL_MAX_DRAW_BUFFERS", "extensions.GL_ARB_TEXTURE_FLOAT".
  std::string path() const;
};

/// The fields of a GPU of the kind, one for each of its answers, in their order.
const std::vector<Field>& Fields(protocol::GPUKind kind);
/// The field of a question; null for another list's.
const Field* FieldOf(const protocol::Question& question);

/// An answer in the field's unit. A value that the unit can't hold is Failed.
Answer Converted(const Field& field, const Answer& answer);
/// Back from the field's unit; none when no value of the report gives this one.
std::optional<Value> ToReportValue(const Field& field, const Value& value);

/// What the GPU answered, by the field's path, converted; Absent for a path that its kind has not.
Answer FieldAnswer(const Gpu& gpu, std::string_view path);

/// The value at the path, where there is one of type T: bool, std::int64_t, double, std::string.
template <class T>
std::optional<T> FieldValue(const Gpu& gpu, std::string_view path) {
  const Answer answer = FieldAnswer(gpu, path);
  const Value* value = std::get_if<Value>(&answer);
  const T* typed = value ? std::get_if<T>(value) : nullptr;
  return typed ? std::optional<T>(*typed) : std::nullopt;
}

/// "4-19-2026" (month first), "20260419000000.000000-000" and "Tue Apr 19 22:20:39 UTC 2026" as
/// "2026-04-19"; other texts as they are.
std::string IsoDate(const std::string& date);

}  // namespace host
