#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace host {

/// What a place of a text holds.
struct Utf8Character {
  char32_t code = 0;     ///< U+FFFD for a byte that begins no character
  std::size_t size = 0;  ///< bytes that it takes
};

/// The character at the beginning of the text, which is not empty.
Utf8Character FirstCharacter(std::string_view text);

/// The text with U+FFFD in place of every byte that is not UTF-8: drivers write what they like.
std::string ValidUtf8(std::string_view text);

/// A name as GPUPROBE_SKIP has it among others, which commas part.
std::string SkipName(std::string name);

/// "2026-11-21T20:45:03Z".
std::string UtcTime(std::chrono::system_clock::time_point time);

}  // namespace host
