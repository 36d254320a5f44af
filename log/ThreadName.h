#pragma once

#include <cstdint>
#include <string>

/// The id of a thread as text: lower-case hexadecimal, or "{Not-any-thread}" for 0.
std::string threadIdText(std::uint64_t id);

/// The registered name of the calling thread, or its id as text.
std::string threadName();
/// Names the calling thread, for the log and for an attached debugger.
void setThreadName(const std::string& name);
