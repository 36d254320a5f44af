#include "LogChannel.h"
#include "LoggingLock.h"
#include "NKFileLogger.h"

boost::recursive_mutex& loggingMutex() {
  // Never destroyed: statics of other files may still log while the process ends.
  static boost::recursive_mutex& mutex = *new boost::recursive_mutex;
  return mutex;
}

boost::shared_ptr<NKLogger> currentLogger() {
  ensureLogging();
  if (auto logger = NKLogger::top()) return logger;
  // The file logger takes the logging lock itself; taken first, nobody waits for the static while
  // holding it.
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
