#pragma once

#include "NKLogger.h"

/// Drops every message.
class NKNullLogger : public NKLogger {
 public:
  NKNullLogger() : NKLogger("NKNullLogger") {}

  bool isActive() const override { return false; }
  void logv(const char*, int, const char*, va_list) override {}
  void write(const char*, std::size_t) override {}
};
