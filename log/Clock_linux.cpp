#include <ctime>

#include "LogPort.h"

namespace {

constexpr std::int64_t kNanosPerSecond = 1000000000;

std::int64_t nanoseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

}  // namespace

std::int64_t logport::clockTicks() {
  return nanoseconds(CLOCK_MONOTONIC);
}

double logport::secondsPerTick() {
  return 1.0 / static_cast<double>(kNanosPerSecond);
}

std::int64_t logport::utcMicroseconds() {
  return nanoseconds(CLOCK_REALTIME) / 1000;
}
