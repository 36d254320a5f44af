#include <pwd.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <fstream>

#include "LogPort.h"

namespace fs = boost::filesystem;

namespace {

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

fs::path homeFolder() {
  const std::string home = environment("HOME");
  if (!home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user && user->pw_dir ? user->pw_dir : "";
}

// The text between the double quotes that a shell word begins with; a backslash keeps the next
// character.
std::string quotedWord(const std::string& word) {
  std::string text;
  if (word.empty() || word[0] != '"') return text;
  for (std::size_t i = 1; i < word.size() && word[i] != '"'; ++i) {
    if (word[i] == '\\' && i + 1 < word.size()) ++i;
    text += word[i];
  }
  return text;
}

// The desktop folder that the user's file of XDG folders names. Its lines are shell assignments of
// an absolute path or of one that begins with $HOME; anything else is empty.
fs::path xdgDesktop(const fs::path& home) {
  const std::string key = "XDG_DESKTOP_DIR=";
  const std::string homeWord = "$HOME";
  const fs::path config = environment("XDG_CONFIG_HOME");
  std::ifstream file(
      ((config.is_absolute() ? config : home / ".config") / "user-dirs.dirs").string());
  fs::path folder;
  for (std::string line; std::getline(file, line);) {
    line.erase(0, line.find_first_not_of(" \t"));
    if (line.compare(0, key.size(), key) != 0) continue;
    const std::string value = quotedWord(line.substr(key.size()));
    // Like the shell, the last assignment wins.
    if (value == homeWord || value.compare(0, homeWord.size() + 1, homeWord + "/") == 0) {
      folder = home.string() + value.substr(homeWord.size());
    } else {
      folder = value.compare(0, 1, "/") == 0 ? value : "";
    }
  }
  return folder;
}

}  // namespace

fs::path logport::desktopFolder() {
  const fs::path home = homeFolder();
  boost::system::error_code ignored;
  for (const fs::path& folder : {xdgDesktop(home), home / "Desktop", home}) {
    if (folder.is_absolute() && fs::is_directory(folder, ignored)) return folder;
  }
  return {};
}
