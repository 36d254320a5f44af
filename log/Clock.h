#pragma once

#include <cstdint>
#include <string>

/// A moment in local time.
struct LocalTimeFields {
  std::int32_t year = 1970;
  std::int32_t month = 1;  ///< 1 to 12
  std::int32_t day = 1;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  double seconds = 0;  ///< with the fraction
};

/// High-resolution clock in seconds from an arbitrary start, plus the clock offset.
double nowSeconds();
/// Sets what nowSeconds() adds, 0 at first; returns the old offset.
double setClockOffset(double seconds);

/// The nowSeconds() value of 1970-01-01 00:00:00 UTC; measured once.
double epochClockSeconds();

/// Local time of a nowSeconds() value.
LocalTimeFields localTimeOfClock(double clockSeconds);
/// Local time of a moment in microseconds after 1970-01-01 00:00:00 UTC. Throws std::runtime_error
/// ("could not convert calendar time to UTC time", "... to local time") when the system cannot
/// convert it, and std::out_of_range beyond the year 9999.
LocalTimeFields localTimeOfUtc(std::int64_t microseconds);

/// For example "2026-11-14 17:45:03.125".
std::string formatTimeStamp(const LocalTimeFields& time);
