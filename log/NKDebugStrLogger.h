#pragma once

#include "NKLogger.h"

/// Writes to an attached debugger, or to the system's log where debuggers have no such channel.
class NKDebugStrLogger : public NKLogger {
 public:
  NKDebugStrLogger() : NKLogger("DebugStr") {}

  std::string lineEnd() const override { return "\r\n"; }
  void write(const char* bytes, std::size_t count) override;
};
