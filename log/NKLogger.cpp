#include "NKLogger.h"

#include <algorithm>

#include "Clock.h"
#include "LogPrefix.h"
#include "LoggingLock.h"
#include "StringPrintf.h"
#include "ThreadName.h"

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
