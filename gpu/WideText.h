#pragma once

#include <ostream>
#include <string>

// Conversions of UTF-16 texts, one unit per wchar_t, up to the terminating NUL.

/// The form of ZOR::Core::EscapedAscii, which the names of display devices have, too.
std::string WideToEscapedAscii(const wchar_t* text);

/// As in log lines: C escapes for \b \t \n \f \r, the backslash and the double quote; other
/// units outside 32 to 126 as "\x" and four digits. Null gives "<nullptr>".
std::string WideToLogText(const wchar_t* text);

/// A piece of a log line, converted by WideToLogText only when the line is really written.
struct WideLogPiece {
  const wchar_t* text;
};

inline std::ostream& operator<<(std::ostream& stream, WideLogPiece piece) {
  return stream << WideToLogText(piece.text);
}
