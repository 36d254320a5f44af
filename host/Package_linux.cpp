#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "host/Culprit.h"

// dpkg's own files, read as they are: asking dpkg would start a program.

namespace host {

namespace {

constexpr char kDatabase[] = "/var/lib/dpkg";

std::string readWhole(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool hasLine(const std::string& text, const std::string& line) {
  for (std::size_t at = 0; (at = text.find(line, at)) != text.npos; at += line.size()) {
    const std::size_t end = at + line.size();
    if ((at == 0 || text[at - 1] == '\n') && (end == text.size() || text[end] == '\n')) return true;
  }
  return false;
}

/// "libpocl2:amd64", the name of the list that has one of the paths.
std::string listWith(const std::vector<std::string>& paths, nkutil::Time deadline) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(std::string(kDatabase) + "/info", error), end;
       !error && entry != end; entry.increment(error)) {
    if (nkutil::Clock::now() > deadline) return "";
    if (entry->path().extension() != ".list") continue;
    const std::string list = readWhole(entry->path());
    for (const std::string& path : paths)
      if (hasLine(list, path)) return entry->path().stem().string();
  }
  return "";
}

/// From the paragraph of the package (deb822(5)).
std::string versionOf(const std::string& name, const std::string& architecture) {
  std::ifstream status(std::string(kDatabase) + "/status", std::ios::binary);
  std::string version;
  bool named = false;
  bool suits = true;
  const auto field = [](const std::string& line, const std::string& key, std::string& value) {
    if (line.compare(0, key.size(), key) != 0) return false;
    value = line.substr(key.size());
    return true;
  };
  for (std::string line, value; std::getline(status, line);) {
    if (line.empty()) {
      if (named && suits) return version;
      named = false;
      suits = true;
      version.clear();
    }
    if (field(line, "Package: ", value)) named = value == name;
    if (field(line, "Architecture: ", value)) suits = architecture.empty() || value == architecture;
    if (field(line, "Version: ", value)) version = value;
  }
  return named && suits ? version : "";
}

}  // namespace

std::optional<std::string> PackageOf(const std::string& file, nkutil::Time deadline) {
  // Packages may still list a file where it was before /lib became a link to /usr/lib.
  std::vector<std::string> paths = {file};
  if (file.compare(0, 5, "/usr/") == 0) paths.push_back(file.substr(4));
  const std::string list = listWith(paths, deadline);
  if (list.empty()) return std::nullopt;
  const std::size_t colon = std::min(list.find(':'), list.size());
  const std::string version =
      versionOf(list.substr(0, colon), colon < list.size() ? list.substr(colon + 1) : "");
  return version.empty() ? list : list + " " + version;
}

}  // namespace host
