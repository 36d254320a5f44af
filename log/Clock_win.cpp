#include <windows.h>

#include "LogPort.h"

std::int64_t logport::clockTicks() {
  LARGE_INTEGER ticks;
  QueryPerformanceCounter(&ticks);
  return ticks.QuadPart;
}

double logport::secondsPerTick() {
  LARGE_INTEGER ticksPerSecond;
  QueryPerformanceFrequency(&ticksPerSecond);
  return 1.0 / static_cast<double>(ticksPerSecond.QuadPart);
}

std::int64_t logport::utcMicroseconds() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  const auto high = static_cast<std::int64_t>(time.dwHighDateTime);
  const std::int64_t tenthsOfMicros = (high << 32) | time.dwLowDateTime;
  // File times count from 1601.
  constexpr std::int64_t kMicrosFrom1601To1970 = 11644473600000000;
  return tenthsOfMicros / 10 - kMicrosFrom1601To1970;
}
