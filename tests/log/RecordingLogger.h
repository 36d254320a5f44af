#pragma once

#include "NKLogger.h"

/// Keeps what is written. Without a prefix unless the test sets flags.
class RecordingLogger : public NKLogger {
 public:
  explicit RecordingLogger(const char* name = "recording") : NKLogger(name) { setFlags(0); }

  void write(const char* bytes, std::size_t count) override { text.append(bytes, count); }
  void flush() override { ++flushes; }
  bool isActive() const override { return active; }

  std::string text;
  int flushes = 0;
  bool active = true;
};
