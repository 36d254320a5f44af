#pragma once

#include <iostream>
#include <string>

#include "SnifferLog.h"

/// One text to the log and, as a line, to standard error.
inline void LogAndPrint(const SnifferLog& log, const std::string& text) {
  log(text);
  std::cerr << text << std::endl;
}
