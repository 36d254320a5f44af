#pragma once

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <cstdio>
#include <string>

/// What a platform provides to the logging core, in files with its suffix.
namespace logport {

/// A steady high-resolution counter, and the length of its tick in seconds.
std::int64_t clockTicks();
double secondsPerTick();
/// The system's time in microseconds after 1970-01-01 00:00:00 UTC.
std::int64_t utcMicroseconds();

/// The system's id of the calling thread.
std::uint64_t currentThreadId();
/// Tells an attached debugger the calling thread's name; without one nothing happens.
void nameThreadForDebugger(const std::string& name);

/// A stream of our own that leads where a standard one does; null when that is closed, not open for
/// writing or can't be copied.
std::FILE* privateCopy(std::FILE* stream);
/// Makes the C stream, its descriptor and the system's handle of it lead to standard error.
void leadToStandardError(std::FILE* stream);

/// Hands a text to the debugger, or to the system's log.
void writeDebugText(const char* text);
/// The user's desktop folder; empty when there is none.
boost::filesystem::path desktopFolder();
/// Opens for appending and leaves the file open to others; null on failure.
std::FILE* openSharedAppend(const boost::filesystem::path& path);

}  // namespace logport
