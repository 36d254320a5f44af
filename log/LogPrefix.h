#pragma once

#include <cstdint>
#include <string>

#include "log/Clock.h"

/// What a line prefix may hold, in the order of the line.
enum PrefixField : std::uint32_t {
  kPrefixCount = 0x001,
  kPrefixYear = 0x002,
  kPrefixMonth = 0x004,
  kPrefixDay = 0x008,
  kPrefixHour = 0x010,
  kPrefixMinute = 0x020,
  kPrefixSeconds = 0x040,
  kPrefixElapsed = 0x080,
  kPrefixThread = 0x100,
  kPrefixDate = kPrefixYear | kPrefixMonth | kPrefixDay,
  kPrefixDateTime = kPrefixDate | kPrefixHour | kPrefixMinute | kPrefixSeconds,
  kPrefixAll = kPrefixCount | kPrefixDateTime | kPrefixElapsed | kPrefixThread,
};

/// What the prefix of one message is made of; what `flags` leaves out is not read.
struct PrefixValues {
  std::uint32_t flags = kPrefixAll;
  std::int32_t count = 0;
  LocalTimeFields time;
  double elapsed = 0;
  std::string thread;
};

/// For example "00012_2026/11/14_17:45:03.125(+00.004)[1a2c] ": the chosen fields and a blank, or
/// nothing when no field is chosen.
std::string formatLogPrefix(const PrefixValues& values);

/// The id of a thread as text: lower-case hexadecimal, or "{Not-any-thread}" for 0.
std::string threadIdText(std::uint64_t id);

/// The registered name of the calling thread, or its id as text.
std::string threadName();
/// Names the calling thread, for the log and for an attached debugger.
void setThreadName(const std::string& name);
