#pragma once

#include <sstream>

#include "LogChannel.h"
#include "NKLogger.h"

/// The program's own diagnostics channel; its level comes from -verbose=.
inline LogChannel gpuSnifferChannel{"GPUSniffer", 0};

/// One guarded diagnostic line on the "GPUSniffer" channel:
///
///     SnifferLog{}("adapter[", index, "] displays: ", displays);
///
/// The pieces are streamed only when the channel is on; control characters in them become blanks,
/// because drivers' texts may have several lines. An exception raised while the line is built or
/// written ends there: a diagnostic never changes what the program does.
class SnifferLog {
 public:
  explicit SnifferLog(const char* file = __builtin_FILE(), int line = __builtin_LINE())
      : fFile(file), fLine(line) {}

  template <class... Pieces>
  void operator()(const Pieces&... pieces) const noexcept {
    if (isOn()) build(pieces...);
  }

 private:
  static bool isOn() noexcept {
    try {
      return channelLevel(gpuSnifferChannel) != 0;
    } catch (...) {
      return false;
    }
  }

  // Out of line: a silent statement then costs its channel test and nothing else.
  template <class... Pieces>
  [[gnu::noinline, gnu::cold]] void build(const Pieces&... pieces) const noexcept {
    try {
      std::ostringstream text;
      (text << ... << pieces);
      write(text.str());
    } catch (...) {
    }
  }

  void write(const std::string& text) const;

  const char* fFile;
  int fLine;
};
