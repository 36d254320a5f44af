#pragma once

#include <exception>
#include <memory>
#include <string>

namespace ZOR {

/// Root of every exception of this library. Copying shares the text, so it never throws.
class ExceptionBase : public std::exception {
 public:
  explicit ExceptionBase(const char* message)
      : fMessage(message ? std::make_shared<const std::string>(message) : nullptr) {}
  explicit ExceptionBase(const std::string& message) : ExceptionBase(message.c_str()) {}

  /// May be null.
  const char* message() const noexcept { return fMessage ? fMessage->c_str() : nullptr; }
  /// The message, or "<NULL>".
  const char* what() const noexcept override { return fMessage ? fMessage->c_str() : "<NULL>"; }

 private:
  std::shared_ptr<const std::string> fMessage;
};

/// A call that failed, or a use that the library does not allow.
class LogicalException : public ExceptionBase {
 public:
  using ExceptionBase::ExceptionBase;
};

/// A broken assumption of the library itself, with the place where it was noticed.
class InternalException : public ExceptionBase {
 public:
  InternalException(const char* source, int line, const char* text)
      : ExceptionBase(text), fSource(source), fLine(line) {}

  const char* source() const noexcept { return fSource; }
  int line() const noexcept { return fLine; }

 private:
  const char* fSource;
  int fLine;
};

}  // namespace ZOR
