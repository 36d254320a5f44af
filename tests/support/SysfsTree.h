#pragma once

#include <filesystem>
#include <string>

/// A machine's files in a folder of their own, gone with the object. Made from a text:
///
///     @folder          the lines up to the next @ are about paths under it
///     path = content   a file; \n and \t as in C, a line end is added
///     path -> target   a link
///     # remark
class SysfsTree {
 public:
  explicit SysfsTree(const std::string& text = "");
  ~SysfsTree();
  SysfsTree(const SysfsTree&) = delete;
  SysfsTree& operator=(const SysfsTree&) = delete;

  const std::filesystem::path& root() const { return fRoot; }
  /// In place of what is there, byte by byte.
  void write(const std::filesystem::path& file, const std::string& content) const;
  void link(const std::filesystem::path& file, const std::string& target) const;
  /// The text with this folder's name taken out.
  std::string withoutRoot(std::string text) const;

  /// The text of a recorded machine.
  static std::string Recorded(const std::string& machine);

 private:
  std::filesystem::path fRoot;
};

std::string ReadWholeFile(const std::filesystem::path& file);
