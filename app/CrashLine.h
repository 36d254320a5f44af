#pragma once

#include <cstddef>
#include <cstdint>

/// From now on a crash of this process leaves one last line on the stream of failures, for example
///
///     crash: SIGSEGV in /usr/lib/x86_64-linux-gnu/libname.so.1+0x1234
///
/// and then ends the process as it would have ended it without the line. The module is the one
/// whose code crashed; where that is the C library or the system's loader, the nearest caller that
/// is neither; "?" where no file holds the address. The offset counts from the module's first byte
/// in memory. A stack that ran over is reported on the calling thread. Call once, from main's
/// thread.
void ReportCrashes();

/// The text of the line, put together without allocating: what is still safe in a crash.
class CrashText {
 public:
  void Add(const char* text) {
    while (*text) Add(*text++);
  }
  void Add(char c) {
    // The last place is the line end's.
    if (fLength < sizeof fText - 1) fText[fLength++] = c;
  }
  /// "0x" and the digits, no zeros in front.
  void AddHex(uint64_t number) {
    Add("0x");
    int shift = 60;
    while (shift > 0 && number >> shift == 0) shift -= 4;
    for (; shift >= 0; shift -= 4) Add("0123456789abcdef"[(number >> shift) & 0xF]);
  }
  void EndLine() { fText[fLength++] = '\n'; }

  const char* data() const { return fText; }
  size_t size() const { return fLength; }

 private:
  // A path of the longest kind, twice.
  char fText[8192];
  size_t fLength = 0;
};
