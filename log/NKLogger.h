#pragma once

#include <boost/shared_ptr.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

#include "log/Stackable.h"

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

/// Writes messages, each with a prefix and a line end. The newest logger alive is the current one.
class NKLogger : public nkutil::Stackable<NKLogger> {
 public:
  /// Becomes the current logger and says so through the one that was.
  explicit NKLogger(const char* name);

  /// False: callers may spare themselves the message.
  virtual bool isActive() const;
  /// nowSeconds() of the message before the last one, and of the last one.
  virtual double previousTime() const;
  virtual double currentTime() const;
  /// Last component of a path with either kind of slash; a slash at the end belongs to it.
  /// Empty for null.
  virtual std::string baseName(const char* path) const;
  /// Writes prefix, message and, where the text does not end a line itself, the line end.
  virtual void logv(const char* file, int line, const char* format, va_list args);
  /// What a message begins with. Callers give their place; no kind prints it.
  virtual std::string prefix(const char* file, int line);
  /// Empty, and no part of a message.
  virtual std::string lineStart() const;
  /// Follows each message.
  virtual void flush();
  /// Follows a text that does not end its line itself.
  virtual std::string lineEnd() const;
  /// Takes one piece of a message. Failures of the output are its own: nothing reports them.
  virtual void write(const char* bytes, std::size_t count) = 0;

  /// Stamps, writes and counts one message.
  void log(const char* file, int line, const char* format, ...)
      __attribute__((format(printf, 4, 5)));

  /// Depth of the open scopes: one blank each, before the message.
  void indent();
  void outdent();

  std::string name() const { return fName; }
  /// Which prefix fields are written (see PrefixField in LogPrefix.h).
  std::uint32_t flags() const;
  /// Returns the flags that were.
  std::uint32_t setFlags(std::uint32_t mask);

  /// The logger beneath this one, or an empty handle.
  boost::shared_ptr<NKLogger> previous() const { return beneath(); }

 private:
  void changeIndent(int change);

  double fPreviousTime;
  double fCurrentTime;
  std::int32_t fMessageCount = 0;
  std::string fName;
  std::uint32_t fFlags;
  std::int32_t fIndentLevel = 0;
  std::string fIndent;
};

/// The newest logger. With none alive, the process's default one: an NKFileLogger that stays. The
/// handle shares the stack storage and does not own the logger.
boost::shared_ptr<NKLogger> currentLogger();

/// Holds the current logger and the logging lock for one statement; copies share both. Empty, with
/// the lock released, when the logger is not active:
///
///     const NKLoggerLock logger;
///     if (logger) logger->log(__FILE__, __LINE__, "%s", text);
class NKLoggerLock {
 public:
  NKLoggerLock();

  explicit operator bool() const { return fRecord != nullptr; }
  /// Throws std::runtime_error when empty.
  NKLogger* operator->() const;

 private:
  struct PtrAndLock;
  boost::shared_ptr<PtrAndLock> fRecord;
};

/// Logs "BEGIN name" and, when it ends, "END name, duration=seconds" through the current logger.
/// Lines between the two are indented by one blank more.
class LogScope {
 public:
  /// `file` is not copied.
  LogScope(const std::string& name, const char* file, int line);
  /// Never throws: an end that cannot be logged is left out.
  ~LogScope();

  LogScope(const LogScope&) = delete;
  LogScope& operator=(const LogScope&) = delete;

 private:
  void log(const std::string& text) const;

  double fStart;
  const char* fFile;
  int fLine;
  std::string fName;
};
