#pragma once

#include <string>

/// Receives each failure text. The default writes it and a line end to standard error.
using ReportSink = void (*)(const std::string& text);

/// Builds "file(line): message" (without the place when file is null or the marker "<NULL>";
/// "<NULL>" for a null message), hands it to the report sink and, when throwIt is set, throws
/// std::runtime_error with the text.
void DefaultReportFailure(const char* file, int line, const char* message, bool throwIt);

/// What every failed check calls; replaceable, like the sink.
extern void (*ReportFailure)(const char* file, int line, const char* message, bool throwIt);
extern ReportSink reportSink;

/// The failed check of the probing code: the bare message, reported and thrown.
inline void FailRequirement(const char* message) {
  ReportFailure("<NULL>", 0, message, true);
}
