#pragma once

#include "NKStdioLogger.h"
#include "Streams.h"

/// The probe's logger: its lines stand among those of the report and begin with "# ".
class SnifferLogger : public NKStdioLogger {
 public:
  explicit SnifferLogger(std::FILE* stream = reportStream()) : NKStdioLogger(stream) {}

  std::string prefix(const char* file, int line) override {
    return "# " + NKStdioLogger::prefix(file, line);
  }
};
