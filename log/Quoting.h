#pragma once

#include <string>

/// Appends one character code: as it is when printable, else as a backslash with a letter (\b \t
/// \n \f \r), with itself (the backslash, the quote character) or with x and twice `digitPairs`
/// hexadecimal digits, which drop the higher bits.
void appendEscaped(std::string& out, unsigned code, char quote, unsigned digitPairs);

/// Appends a backslash, x and twice `digitPairs` lower-case hexadecimal digits.
void appendHexEscape(std::string& out, unsigned code, unsigned digitPairs);

/// Every byte (two digits) or unit (four digits) escaped for double quotes, which are not added;
/// "<nullptr>" for null.
std::string quoteString(const char* text);
std::string quoteString(const wchar_t* text);

/// A foreign text as a part of one line: without the line ends at its end, and every other control
/// character a blank. Some readers take more than line feeds for line ends, or one for the end of
/// the file.
std::string onOneLine(std::string text);
