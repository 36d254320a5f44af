#pragma once

#include <string>

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
