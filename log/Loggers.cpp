#include "log/Loggers.h"

#include <boost/filesystem/operations.hpp>
#include <exception>
#include <set>

#include "log/LogPort.h"

namespace fs = boost::filesystem;

namespace {

const char* streamName(const std::FILE* stream) {
  if (stream == stdout || stream == reportStream()) return "stdout";
  if (stream == stderr || stream == failureStream()) return "stderr";
  return "FILE*";
}

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

NKStdioLogger::NKStdioLogger(std::FILE* stream) : NKLogger(streamName(stream)), fStream(stream) {}

void NKStdioLogger::flush() {
  // fflush(nullptr) would flush every stream of the process.
  if (fStream) std::fflush(fStream);
}

void NKStdioLogger::write(const char* bytes, std::size_t count) {
  if (fStream) std::fwrite(bytes, 1, count, fStream);
}

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

void NKDebugStrLogger::write(const char* bytes, std::size_t count) {
  logport::writeDebugText(std::string(bytes, count).c_str());
}

SingleLineLogger::SingleLineLogger(const char* name) : NKLogger(name ? name : "SingleLineLogger") {}

// NOLINTNEXTLINE(bugprone-exception-escape): allowed by the base class
SingleLineLogger::~SingleLineLogger() noexcept(false) {
  if (fPrefixes == 0) return;
  try {
    endLine();
  } catch (...) {
    // A second exception during an unwinding would end the program. The count isn't 0 at rest where
    // one of a driver was caught that brought its own C++ library.
    if (std::uncaught_exceptions() == fUncaught) throw;
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
