#pragma once

/// An Inspection as JSON and back; gpuprobe-report.schema.json describes it.

#include <optional>
#include <string>

#include "host/Inspection.h"

namespace host {

struct AnswerEvent;

/// The whole result, valid JSON in UTF-8 whatever the drivers wrote: U+FFFD stands for each byte
/// that is not UTF-8. Ends with a line end.
std::string ToJson(const Inspection& inspection);

/// One answer, incident or the run as an object on one line, without its line end:
/// {"gpu": "glgpu[0]", "field": "memory_bytes", "value": 1024, "reason": null}.
std::string ToJsonLine(const AnswerEvent& event);
std::string ToJsonLine(const Incident& incident);
std::string RunToJsonLine(const Inspection& inspection);

/// What ToJson() wrote, here or elsewhere, by this version or a later one. None when it is no such
/// JSON; `error` then says why in one line.
std::optional<Inspection> FromJson(const std::string& text, std::string& error);

}  // namespace host
