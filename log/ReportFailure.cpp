#include "ReportFailure.h"

#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace {

constexpr const char* kNothing = "<NULL>";

void writeToStandardError(const std::string& text) {
  // In one piece: the host reads the stream line by line.
  std::fputs((text + "\n").c_str(), stderr);
  std::fflush(stderr);
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
