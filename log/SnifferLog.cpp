#include "SnifferLog.h"

void SnifferLog::write(const std::string& text) const {
  const NKLoggerLock logger;
  if (logger) logger->log(fFile, fLine, "%s", text.c_str());
}
