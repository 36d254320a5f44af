#include <windows.h>

#include <cstdio>

#include "Platform.h"

// A missing disk or library gives an error code, and a crash ends the process, instead of a dialog
// that nobody would answer.
void PreparePlatform() {
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
  // Unbuffered, as the C library leaves it, each byte is a system call of its own. Whoever writes
  // a line flushes it.
  std::setvbuf(stderr, nullptr, _IOFBF, BUFSIZ);
}

void ArmTimeout(int32_t) {}

void HangBeforeExit(int32_t) {}
