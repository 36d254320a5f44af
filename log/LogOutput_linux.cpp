#include <syslog.h>

#include "LogPort.h"
#include "LoggingLock.h"

void logport::writeDebugText(const char* text) {
  // A message arrives in pieces, but each syslog call is a record: one record per line. Never
  // destroyed: statics of other files may still log while the process ends.
  static std::string& line = *new std::string;
  const LoggingLock lock;
  line += text;
  for (auto end = line.find_first_of("\r\n"); end != std::string::npos;
       end = line.find_first_of("\r\n")) {
    if (end > 0) syslog(LOG_USER | LOG_DEBUG, "%s", line.substr(0, end).c_str());
    line.erase(0, end + 1);
  }
}

std::FILE* logport::openSharedAppend(const boost::filesystem::path& path) {
  return std::fopen(path.c_str(), "ae");
}
