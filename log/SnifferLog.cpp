#include "SnifferLog.h"

#include "Quoting.h"

void SnifferLog::write(const std::string& text) const {
  // One message is one line: readers of standard output know it by how the line begins.
  const std::string line = onOneLine(text);
  const NKLoggerLock logger;
  if (logger) logger->log(fFile, fLine, "%s", line.c_str());
}
