#pragma once

#include <cstdio>
#include <utility>

#include "SnifferLog.h"

/// Turns the program's diagnostics on for its own lifetime and keeps them: one line each, with the
/// line number of its statement before it.
class LogCapture : public NKLogger {
 public:
  LogCapture() : NKLogger("LogCapture"), fLevel(std::exchange(gpuSnifferLevel(), 1)) {}
  ~LogCapture() noexcept override { gpuSnifferLevel() = fLevel; }

  void logv(const char*, int line, const char* format, va_list args) override {
    char text[1024];
    std::vsnprintf(text, sizeof text, format, args);
    fLines.emplace_back(line, std::string(text) + "\n");
  }
  void write(const char*, std::size_t) override {}

  /// What the statement with that number has logged.
  std::string of(int wanted) const {
    std::string found;
    for (const auto& [line, text] : fLines)
      if (line == wanted) found += text;
    return found;
  }
  /// Everything since the last call, with the numbers.
  std::string take() {
    std::string all;
    for (const auto& [line, text] : std::exchange(fLines, {}))
      all += std::to_string(line) + " " + text;
    return all;
  }

 private:
  static int& gpuSnifferLevel() { return channelLevel(gpuSnifferChannel); }

  int fLevel;
  std::vector<std::pair<int, std::string>> fLines;
};
