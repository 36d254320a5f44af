#pragma once

#include <cstdarg>
#include <string>

/// printf into a string; empty when the text cannot be formatted.
std::string stringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// The same of an argument list, which may be used again afterwards.
std::string stringVPrintf(const char* format, va_list args);
