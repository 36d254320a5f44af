#pragma once

#include <cstdio>
#include <string>

// The two streams that a host reads. Drivers print on the standard ones as they like, half lines
// included, so ours are copies that no driver knows.

/// Where the report and the diagnostics go, and where failures go: the C library's standard output
/// and standard error until makeStreamsPrivate().
std::FILE* reportStream();
std::FILE* failureStream();

/// Puts copies of standard output and standard error in their place; from then on everybody else's
/// standard output leads to standard error, and neither is buffered. To be called once, before any
/// driver is loaded. A stream that is closed or can't be copied stays where it leads.
void makeStreamsPrivate();

/// Flushes ours and the standard ones.
void flushStreams();

/// Writes and flushes a line, in one piece as long as it fits the stream's buffer. False when it
/// could not be written; the next line has its own try.
bool writeLine(std::FILE* stream, const std::string& line);
