#include "SnifferLog.h"

#include <algorithm>

void SnifferLog::write(std::string text) const {
  // One message is one line: readers of standard output know it by how the line begins. Drivers'
  // texts may have several.
  if (!text.empty()) {
    std::replace(text.begin(), text.end() - 1, '\n', ' ');
    std::replace(text.begin(), text.end() - 1, '\r', ' ');
  }
  const NKLoggerLock logger;
  if (logger) logger->log(fFile, fLine, "%s", text.c_str());
}
