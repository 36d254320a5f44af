#include "NKStdioLogger.h"

#include "Streams.h"

namespace {

const char* streamName(const std::FILE* stream) {
  if (stream == stdout || stream == reportStream()) return "stdout";
  if (stream == stderr || stream == failureStream()) return "stderr";
  return "FILE*";
}

}  // namespace

NKStdioLogger::NKStdioLogger(std::FILE* stream) : NKLogger(streamName(stream)), fStream(stream) {}

void NKStdioLogger::flush() {
  // fflush(nullptr) would flush every stream of the process.
  if (fStream) std::fflush(fStream);
}

void NKStdioLogger::write(const char* bytes, std::size_t count) {
  if (fStream) std::fwrite(bytes, 1, count, fStream);
}
