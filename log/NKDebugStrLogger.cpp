#include "NKDebugStrLogger.h"

#include "LogPort.h"

void NKDebugStrLogger::write(const char* bytes, std::size_t count) {
  logport::writeDebugText(std::string(bytes, count).c_str());
}
