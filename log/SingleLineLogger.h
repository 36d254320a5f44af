#pragma once

#include <cstdint>

#include "NKLogger.h"

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
};
