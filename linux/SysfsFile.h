#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// A number as the kernel prints one: decimal, or hexadecimal after "0x", a line end at most after
/// it. Nothing for any other text and for numbers above the limit.
std::optional<uint64_t> ParseSysfsNumber(std::string_view text, uint64_t limit);

// Readers of the kernel's small text files. A file that isn't there gives nothing, in silence: each
// driver has files of its own. One that is there and can't be used gives nothing and one diagnostic
// that names it. Only regular files of at most a page are read, and none is waited for.

/// The whole text, printable ASCII in one line or more.
std::optional<std::string> ReadSysfsText(const std::filesystem::path& file);
/// A text of one line, without its end; not empty.
std::optional<std::string> ReadSysfsLine(const std::filesystem::path& file);
std::optional<uint64_t> ReadSysfsNumber(const std::filesystem::path& file, uint64_t limit);

/// The last part of what a link points to: the name of a driver or a bus. Empty as above.
std::string ReadSysfsLinkName(const std::filesystem::path& link);
/// The real folder behind a path with links in it. Nothing as above.
std::optional<std::filesystem::path> ResolveSysfsFolder(const std::filesystem::path& folder);
