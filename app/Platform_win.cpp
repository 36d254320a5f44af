#include <windows.h>

#include "Platform.h"

// A missing disk or library gives an error code instead of a dialog that nobody would answer.
void PreparePlatform() {
  SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
}

void ArmTimeout(int32_t) {}

void HangBeforeExit(int32_t) {}
