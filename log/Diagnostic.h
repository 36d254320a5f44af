#pragma once

#include <locale>
#include <sstream>
#include <string>

#include "log/LogChannel.h"
#include "log/NKLogger.h"

/// The program's own diagnostics channel; its level comes from -verbose=.
inline LogChannel gpuSnifferChannel{"GPUSniffer", 0};

/// One guarded diagnostic line on the "GPUSniffer" channel:
///
///     Diagnostic{}("adapter[", index, "] displays: ", displays);
///
/// The pieces are streamed only when the channel is on; control characters in them become blanks,
/// because drivers' texts may have several lines. An exception raised while the line is built or
/// written ends there: a diagnostic never changes what the program does.
class Diagnostic {
 public:
  explicit Diagnostic(const char* file = __builtin_FILE(), int line = __builtin_LINE())
      : fFile(file), fLine(line) {}

  template <class... Pieces>
  void operator()(const Pieces&... pieces) const noexcept {
    if (isOn()) build(pieces...);
  }

  /// For what is found out only to be logged.
  static bool isOn() noexcept {
    try {
      return channelLevel(gpuSnifferChannel) != 0;
    } catch (...) {
      return false;
    }
  }

 private:
  // Out of line: a silent statement then costs its channel test and nothing else.
  template <class... Pieces>
  [[gnu::noinline, gnu::cold]] void build(const Pieces&... pieces) const noexcept {
    try {
      std::ostringstream text;
      text.imbue(std::locale::classic());
      (text << ... << pieces);
      write(text.str());
    } catch (...) {
    }
  }

  void write(const std::string& text) const;

  const char* fFile;
  int fLine;
};

/// One guarded diagnostic line about adapters. All of them carry one source unit and fixed line
/// numbers, by which a host's logger tells them apart whatever file they come from.
inline Diagnostic AdapterDiagnostic(int line) {
  return Diagnostic{"sources/win/GPUImplWin", line};
}

/// One text to the log and, as a line, to standard error.
void PrintDiagnostic(const Diagnostic& log, const std::string& text);
