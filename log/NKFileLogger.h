#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdio>

#include "NKLogger.h"

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
