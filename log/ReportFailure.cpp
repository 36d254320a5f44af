#include "log/ReportFailure.h"

#include <cstring>
#include <stdexcept>

#include "log/Streams.h"

namespace {

constexpr const char* kNothing = "<NULL>";

void writeToStandardError(const std::string& text) {
  writeLine(failureStream(), text);
}

}  // namespace

ReportSink reportSink = writeToStandardError;

void (*ReportFailure)(const char* file, int line, const char* message,
                      bool throwIt) = DefaultReportFailure;

void DefaultReportFailure(const char* file, int line, const char* message, bool throwIt) {
  std::string text;
  if (file && std::strcmp(file, kNothing) != 0) {
    text = std::string(file) + "(" + std::to_string(line) + "): ";
  }
  text += message ? message : kNothing;
  reportSink(text);
  if (throwIt) throw std::runtime_error(text);
}
