#include "log/Diagnostic.h"

#include "log/Quoting.h"
#include "log/Streams.h"

void Diagnostic::write(const std::string& text) const {
  // One message is one line: readers of standard output know it by how the line begins.
  const std::string line = onOneLine(text);
  const NKLoggerLock logger;
  if (logger) logger->log(fFile, fLine, "%s", line.c_str());
}

void PrintDiagnostic(const Diagnostic& log, const std::string& text) {
  log(text);
  writeLine(failureStream(), text);
}
