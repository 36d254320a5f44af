#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>

/// Held by every log statement, and around the channel table and the set of log files. Never taken
/// while the lock of the logger stack or of the thread names is held; the other way round is usual.
boost::recursive_mutex& loggingMutex();

/// One holding of the logging lock.
class LoggingLock {
 public:
  LoggingLock() : fLock(loggingMutex()) {}

 private:
  boost::unique_lock<boost::recursive_mutex> fLock;
};
