#include "SingleLineLogger.h"

#include <exception>

SingleLineLogger::SingleLineLogger(const char* name) : NKLogger(name ? name : "SingleLineLogger") {}

// NOLINTNEXTLINE(bugprone-exception-escape): allowed by the base class
SingleLineLogger::~SingleLineLogger() noexcept(false) {
  if (fPrefixes == 0) return;
  try {
    endLine();
  } catch (...) {
    // A second exception during an unwinding would end the program.
    if (std::uncaught_exceptions() == 0) throw;
  }
}

std::string SingleLineLogger::prefix(const char* file, int line) {
  std::string text = fPrefixes == 0 ? nkutil::required(previous()).prefix(file, line) : " ";
  // Counted once it was produced: without a logger beneath no line was begun.
  ++fPrefixes;
  return text;
}

void SingleLineLogger::write(const char* bytes, std::size_t count) {
  nkutil::required(previous()).write(bytes, count);
}

void SingleLineLogger::endLine() {
  NKLogger& beneath = nkutil::required(previous());
  const std::string end = beneath.lineEnd();
  if (!end.empty()) beneath.write(end.data(), end.size());
}
