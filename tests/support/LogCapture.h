#pragma once

#include <utility>

#include "log/Diagnostic.h"

/// Turns the program's diagnostics on for its own lifetime and keeps all messages: as one text, as
/// they are written (without a prefix unless the test sets flags), and one line each, with the line
/// number of its statement before it.
class LogCapture : public NKLogger {
 public:
  explicit LogCapture(const char* name = "recording")
      : NKLogger(name), fLevel(std::exchange(channelLevel(gpuSnifferChannel), 1)) {
    setFlags(0);
  }
  ~LogCapture() noexcept override { channelLevel(gpuSnifferChannel) = fLevel; }

  void logv(const char* file, int line, const char* format, va_list args) override {
    const std::size_t start = text.size();
    NKLogger::logv(file, line, format, args);
    fLines.emplace_back(line, text.substr(start));
  }
  void write(const char* bytes, std::size_t count) override { text.append(bytes, count); }
  void flush() override { ++flushes; }
  bool isActive() const override { return active; }

  std::string text;
  int flushes = 0;
  bool active = true;

  /// What the statement with that number has logged.
  std::string of(int wanted) const {
    std::string found;
    for (const auto& [line, message] : fLines)
      if (line == wanted) found += message;
    return found;
  }
  /// Everything since the last call, with the numbers.
  std::string take() {
    std::string all;
    for (const auto& [line, message] : std::exchange(fLines, {}))
      all += std::to_string(line) + " " + message;
    return all;
  }

 private:
  int fLevel;
  std::vector<std::pair<int, std::string>> fLines;
};
