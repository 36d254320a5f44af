#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdio>
#include <exception>

#include "log/NKLogger.h"
#include "log/Streams.h"

/// Drops every message.
class NKNullLogger : public NKLogger {
 public:
  NKNullLogger() : NKLogger("NKNullLogger") {}

  bool isActive() const override { return false; }
  void logv(const char*, int, const char*, va_list) override {}
  void write(const char*, std::size_t) override {}
};

/// Writes to a stream that it does not own, and flushes it after each message. A null stream, and
/// one that does not take the bytes, drops them.
class NKStdioLogger : public NKLogger {
 public:
  /// Named "stdout", "stderr" or "FILE*" after the stream; our copies count as what they copy.
  explicit NKStdioLogger(std::FILE* stream);

  void flush() override;
  void write(const char* bytes, std::size_t count) override;

 private:
  std::FILE* fStream;
};

/// The probe's logger: its lines stand among those of the report and begin with "# ".
class SnifferLogger : public NKStdioLogger {
 public:
  explicit SnifferLogger(std::FILE* stream = reportStream()) : NKStdioLogger(stream) {}

  std::string prefix(const char* file, int line) override {
    return "# " + NKStdioLogger::prefix(file, line);
  }
};

/// Appends to "nklog.txt" on the user's desktop. The first one of the process starts a fresh file;
/// the file is opened and closed for each message, and an empty one is removed at the end. What
/// cannot be written is dropped without a word.
class NKFileLogger : public NKLogger {
 public:
  NKFileLogger();
  ~NKFileLogger() override;

  void flush() override;
  void write(const char* bytes, std::size_t count) override;

 private:
  std::FILE* fFile = nullptr;
  /// Empty on a machine without a desktop folder: then there is no file.
  boost::filesystem::path fPath;
};

/// Writes to an attached debugger, or to the system's log where debuggers have no such channel.
class NKDebugStrLogger : public NKLogger {
 public:
  NKDebugStrLogger() : NKLogger("DebugStr") {}

  std::string lineEnd() const override { return "\r\n"; }
  void write(const char* bytes, std::size_t count) override;
};

/// Joins its messages into one line of the logger beneath it. Whatever needs that logger throws
/// std::runtime_error when there is none.
class SingleLineLogger : public NKLogger {
 public:
  explicit SingleLineLogger(const char* name = nullptr);
  /// Ends the line, if one was begun.
  // NOLINTNEXTLINE(bugprone-exception-escape): allowed by the base class
  ~SingleLineLogger() noexcept(false) override;

  /// The prefix of the logger beneath for the first message, a blank for the others.
  std::string prefix(const char* file, int line) override;
  std::string lineEnd() const override { return {}; }
  void write(const char* bytes, std::size_t count) override;

 private:
  void endLine();

  std::uint32_t fPrefixes = 0;
  const int fUncaught = std::uncaught_exceptions();
};
