#include "log/NKLogger.h"

#include <algorithm>
#include <locale>
#include <sstream>

#include "log/Clock.h"
#include "log/Fmt.h"
#include "log/LogChannel.h"
#include "log/LogPrefix.h"
#include "log/Loggers.h"

namespace {

// The place that the core's own message names; no logger prints it.
constexpr const char* kSourceUnit = "..\\sources\\all\\NKLogging";
constexpr int kActivationLine = 322;

// A flag that is never kept.
constexpr std::uint32_t kDroppedFlag = 0x200;

bool endsLine(char last) {
  return last == '\r' || last == '\n';
}

}  // namespace

NKLogger::NKLogger(const char* name)
    : fPreviousTime(nowSeconds()), fCurrentTime(fPreviousTime), fName(name), fFlags(kPrefixAll) {
  if (const auto beneath = previous()) {
    beneath->log(kSourceUnit, kActivationLine, "Activating new logger %s", name);
  }
}

bool NKLogger::isActive() const {
  return true;
}

double NKLogger::previousTime() const {
  return fPreviousTime;
}

double NKLogger::currentTime() const {
  return fCurrentTime;
}

std::string NKLogger::baseName(const char* path) const {
  if (!path) return {};
  const char* start = path;
  for (const char* c = path; *c; ++c) {
    if ((*c == '\\' || *c == '/') && c[1]) start = c + 1;
  }
  return start;
}

void NKLogger::logv(const char* file, int line, const char* format, va_list args) {
  const LoggingLock lock;
  char last = 0;
  const auto put = [&](const std::string& text) {
    if (text.empty()) return;
    write(text.data(), text.size());
    last = text.back();
  };
  put(prefix(file, line));
  put(stringVPrintf(format, args));
  if (!endsLine(last)) put(lineEnd());
  flush();
}

std::string NKLogger::prefix(const char*, int) {
  PrefixValues values;
  values.flags = flags();
  values.count = fMessageCount;
  // Both cost more than the rest of the line, so only where they are wanted.
  if (values.flags & kPrefixDateTime) values.time = localTimeOfClock(fCurrentTime);
  if (values.flags & kPrefixThread) values.thread = threadName();
  values.elapsed = fCurrentTime - fPreviousTime;
  return formatLogPrefix(values) + fIndent;
}

std::string NKLogger::lineStart() const {
  return {};
}

void NKLogger::flush() {}

std::string NKLogger::lineEnd() const {
  return "\n";
}

void NKLogger::log(const char* file, int line, const char* format, ...) {
  const LoggingLock lock;
  fPreviousTime = fCurrentTime;
  fCurrentTime = nowSeconds();
  // The first message follows none, so it shows no time since one.
  if (fMessageCount == 0) fPreviousTime = fCurrentTime;
  va_list args;
  va_start(args, format);
  logv(file, line, format, args);
  va_end(args);
  ++fMessageCount;
}

void NKLogger::indent() {
  changeIndent(1);
}

void NKLogger::outdent() {
  changeIndent(-1);
}

void NKLogger::changeIndent(int change) {
  fIndentLevel += change;
  fIndent.assign(static_cast<std::size_t>(std::max(fIndentLevel, 0)), ' ');
}

std::uint32_t NKLogger::flags() const {
  return fFlags & ~kDroppedFlag;
}

std::uint32_t NKLogger::setFlags(std::uint32_t mask) {
  const std::uint32_t old = flags();
  fFlags = mask & ~kDroppedFlag;
  return old;
}

boost::recursive_mutex& loggingMutex() {
  // Never destroyed: statics of other files may still log while the process ends.
  static boost::recursive_mutex& mutex = *new boost::recursive_mutex;
  return mutex;
}

boost::shared_ptr<NKLogger> currentLogger() {
  ensureLogging();
  if (auto logger = NKLogger::top()) return logger;
  // The file logger takes the logging lock itself; taken first, no thread waits for the static
  // while holding it.
  const LoggingLock lock;
  static const NKFileLogger* const defaultLogger = new NKFileLogger;
  static_cast<void>(defaultLogger);
  return NKLogger::top();
}

// The lock goes before the handle: members end in reverse order.
struct NKLoggerLock::PtrAndLock {
  boost::shared_ptr<NKLogger> logger = currentLogger();
  LoggingLock lock;
};

NKLoggerLock::NKLoggerLock() : fRecord(boost::make_shared<PtrAndLock>()) {
  if (!fRecord->logger || !fRecord->logger->isActive()) fRecord.reset();
}

NKLogger* NKLoggerLock::operator->() const {
  return &nkutil::required(fRecord ? fRecord->logger : nullptr);
}

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
    text.imbue(std::locale::classic());
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
