#include "log/Streams.h"

#include <initializer_list>

#include "log/LogPort.h"

namespace {

// Null: the standard stream itself. Never closed.
std::FILE* report = nullptr;
std::FILE* failures = nullptr;

}  // namespace

std::FILE* reportStream() {
  return report ? report : stdout;
}

std::FILE* failureStream() {
  return failures ? failures : stderr;
}

void makeStreamsPrivate() {
  failures = logport::privateCopy(stderr);
  report = logport::privateCopy(stdout);
  // A standard output that cannot be copied is closed or read-only: drivers cannot write to it
  // either.
  if (report) logport::leadToStandardError(stdout);
  // What is said before a crash must not wait in a buffer.
  for (std::FILE* stream : {stdout, stderr}) std::setvbuf(stream, nullptr, _IONBF, 0);
}

void flushStreams() {
  for (std::FILE* stream : {reportStream(), failureStream(), stdout, stderr}) std::fflush(stream);
}

bool writeLine(std::FILE* stream, const std::string& line) {
  const bool taken = std::fwrite(line.data(), 1, line.size(), stream) == line.size() &&
                     std::fputc('\n', stream) != EOF;
  if (std::fflush(stream) == 0 && taken) return true;
  std::clearerr(stream);
  return false;
}
