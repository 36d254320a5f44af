#include <share.h>
#include <windows.h>

#include "LogPort.h"

void logport::writeDebugText(const char* text) {
  OutputDebugStringA(text);
}

std::FILE* logport::openSharedAppend(const boost::filesystem::path& path) {
  // string() converts to the code page of the system's file functions.
  return _fsopen(path.string().c_str(), "a", _SH_DENYNO);
}
