#include "LogScope.h"

#include <sstream>

#include "Clock.h"
#include "LoggingLock.h"
#include "NKLogger.h"

LogScope::LogScope(const std::string& name, const char* file, int line)
    : fStart(0), fFile(file), fLine(line), fName(name) {
  // Indentation belongs to the logger, which other threads may be using.
  const LoggingLock lock;
  log("BEGIN " + fName);
  nkutil::required(currentLogger()).indent();
  fStart = nowSeconds();
}

LogScope::~LogScope() {
  try {
    const double duration = nowSeconds() - fStart;
    const LoggingLock lock;
    nkutil::required(currentLogger()).outdent();
    std::ostringstream text;
    text << "END " << fName << ", duration=" << duration;
    log(text.str());
  } catch (...) {
    // A diagnostic never changes what the program does, least of all while it unwinds.
  }
}

void LogScope::log(const std::string& text) const {
  NKLogger& logger = nkutil::required(currentLogger());
  if (logger.isActive()) logger.log(fFile, fLine, "%s", text.c_str());
}
