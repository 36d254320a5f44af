#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nkutil {

/// None when the text is not valid UTF-8.
std::optional<std::wstring> toWide(std::string_view text);
/// Halves of surrogate pairs become U+FFFD.
std::string toUtf8(std::wstring_view text);

}  // namespace nkutil
