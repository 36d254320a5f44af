#pragma once

#include <string>

namespace ZOR::Core {

/// A UTF-16 text, one unit per wchar_t, up to its NUL: units 32 to 126 as they are, every other
/// one as "\x" and four lower-case hexadecimal digits. Null gives an empty text.
std::string EscapedAscii(const wchar_t* text);

}  // namespace ZOR::Core
