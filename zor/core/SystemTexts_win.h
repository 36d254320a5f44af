#pragma once

#include <string>

// Texts of the system. Those of UTF-16 have one unit per wchar_t and end at their NUL.

namespace ZOR::Core {

/// Units 32 to 126 as they are, every other one as "\x" and four lower-case hexadecimal digits.
/// Null gives an empty text.
std::string EscapedAscii(const wchar_t* text);

/// In UTF-8, and back; a lone surrogate becomes the replacement character.
std::string Utf8(const wchar_t* text);
std::wstring Utf16(const std::string& text);

/// "call: " and the system's own words for GetLastError().
std::string SystemErrorText(const std::string& call);

/// Throws that text as a LogicalException.
[[noreturn]] void ThrowSystemError(const char* call);

}  // namespace ZOR::Core
