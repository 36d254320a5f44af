#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <system_error>

#include "gpureport/Platform.h"

namespace gpureport {

namespace fs = std::filesystem;

bool ReadWholeFile(const std::string& path, std::string& bytes) {
  std::ifstream file;
  if (path != "-") {
    file.open(fs::u8path(path), std::ios::binary);
    if (!file) return false;
  }
  std::istream& stream = path == "-" ? std::cin : file;
  bytes.assign(std::istreambuf_iterator<char>(stream), {});
  return !stream.bad() && !fs::is_directory(fs::u8path(path));
}

namespace {

/// Its own for each writer of a file: they don't write into each other's.
fs::path nameBeside(const fs::path& wanted) {
  return wanted.parent_path() / fs::u8path("." + wanted.filename().u8string() + "." +
                                           std::to_string(std::random_device()()) + ".new");
}

}  // namespace

std::string ReplaceFileBy(const std::string& path, std::string_view bytes) {
  const fs::path named = fs::u8path(path);
  std::error_code ignored;
  // What a link leads to is replaced, not the link.
  const fs::path there = fs::canonical(named, ignored);
  const fs::path wanted = there.empty() ? named : there;
  // /dev/null must stay the device that it is.
  const bool inPlace = fs::is_other(fs::status(wanted, ignored));
  const fs::path beside = inPlace ? wanted : nameBeside(wanted);
  if (!inPlace && !MakeFile(beside.u8string()))
    return "cannot write " + path + ": " + std::strerror(errno);
  std::ofstream file(beside, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    const std::string reason = std::strerror(errno);
    if (!inPlace) fs::remove(beside, ignored);
    return "cannot write " + path + ": " + reason;
  }
  if (inPlace) return {};
  std::error_code error;
  fs::rename(beside, wanted, error);
  if (!error) return {};
  fs::remove(beside, ignored);
  return "cannot write " + path + ": " + error.message();
}

}  // namespace gpureport
