#include "NKFileLogger.h"

#include <boost/filesystem/operations.hpp>
#include <set>

#include "LogPort.h"
#include "LoggingLock.h"

namespace fs = boost::filesystem;

namespace {

fs::path logPath() {
  const fs::path folder = logport::desktopFolder();
  return folder.empty() ? fs::path() : folder / "nklog.txt";
}

// The first file logger of the process on a path starts with no file. Looked up and removed in one
// go, so that another thread's first message is not removed with it.
void startFresh(const fs::path& path) {
  // Never destroyed: statics of other files may still log while the process ends.
  static std::set<fs::path>& used = *new std::set<fs::path>;
  const LoggingLock lock;
  boost::system::error_code ignored;
  if (used.insert(path).second) fs::remove(path, ignored);
}

}  // namespace

NKFileLogger::NKFileLogger() : NKLogger("nklog.txt"), fPath(logPath()) {
  if (!fPath.empty()) startFresh(fPath);
}

NKFileLogger::~NKFileLogger() {
  NKFileLogger::flush();
  // A run that logged nothing leaves no file.
  boost::system::error_code ignored;
  if (!fPath.empty() && fs::file_size(fPath, ignored) == 0) fs::remove(fPath, ignored);
}

void NKFileLogger::flush() {
  if (fFile) std::fclose(fFile);
  fFile = nullptr;
}

void NKFileLogger::write(const char* bytes, std::size_t count) {
  if (!fFile && !fPath.empty()) fFile = logport::openSharedAppend(fPath);
  if (fFile) std::fwrite(bytes, 1, count, fFile);
}
