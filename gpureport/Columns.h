#pragma once

/// Texts on a terminal, whose columns are neither bytes nor characters.

#include <string>
#include <string_view>
#include <vector>

namespace gpureport {

/// The text with U+FFFD for what would not show or would move the cursor: bytes that are no UTF-8,
/// control characters, marks that turn the direction of writing.
std::string Printable(std::string_view text);

/// Columns that a printable text takes: two for a wide character, none for a combining one.
int ColumnsOf(std::string_view text);

/// The longest beginning that fits, in bytes; never part of a character.
std::size_t FittingBytes(std::string_view text, int columns);

/// Lines of at most so many columns, broken at blanks, or anywhere where a word is longer. At least
/// one line; columns above 1.
std::vector<std::string> Wrapped(std::string_view text, int columns);

}  // namespace gpureport
