#pragma once

#include <cstdio>

#include "NKLogger.h"

/// Writes to a stream that it does not own, and flushes it after each message. A null stream, and
/// one that does not take the bytes, drops them.
class NKStdioLogger : public NKLogger {
 public:
  /// Named "stdout", "stderr" or "FILE*" after the stream; our copies count as what they copy.
  explicit NKStdioLogger(std::FILE* stream);

  void flush() override;
  void write(const char* bytes, std::size_t count) override;

 private:
  std::FILE* fStream;
};
