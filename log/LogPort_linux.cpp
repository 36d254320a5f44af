#include "log/LogPort.h"

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <syslog.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "log/NKLogger.h"

namespace fs = boost::filesystem;

namespace {

constexpr std::int64_t kNanosPerSecond = 1000000000;

std::int64_t nanoseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

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

std::int64_t logport::clockTicks() {
  return nanoseconds(CLOCK_MONOTONIC);
}

double logport::secondsPerTick() {
  return 1.0 / static_cast<double>(kNanosPerSecond);
}

std::int64_t logport::utcMicroseconds() {
  return nanoseconds(CLOCK_REALTIME) / 1000;
}

std::uint64_t logport::currentThreadId() {
  return static_cast<std::uint64_t>(gettid());
}

void logport::nameThreadForDebugger(const std::string& name) {
  // The kernel refuses names of more than 15 bytes.
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}

std::FILE* logport::privateCopy(std::FILE* stream) {
  const int copy = fcntl(fileno(stream), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (copy == -1) return nullptr;
  // Refused where the descriptor is open for reading only.
  std::FILE* const own = fdopen(copy, "w");
  if (!own) close(copy);
  return own;
}

void logport::leadToStandardError(std::FILE* stream) {
  dup2(STDERR_FILENO, fileno(stream));
}

void logport::writeDebugText(const char* text) {
  // A message arrives in pieces, but each syslog call is a record: one record per line. Never
  // destroyed: statics of other files may still log while the process ends.
  static std::string& line = *new std::string;
  const LoggingLock lock;
  line += text;
  for (auto end = line.find_first_of("\r\n"); end != std::string::npos;
       end = line.find_first_of("\r\n")) {
    if (end > 0) syslog(LOG_USER | LOG_DEBUG, "%s", line.substr(0, end).c_str());
    line.erase(0, end + 1);
  }
}

std::FILE* logport::openSharedAppend(const boost::filesystem::path& path) {
  return std::fopen(path.c_str(), "ae");
}

fs::path logport::desktopFolder() {
  const fs::path home = homeFolder();
  boost::system::error_code ignored;
  for (const fs::path& folder : {xdgDesktop(home), home / "Desktop", home}) {
    if (folder.is_absolute() && fs::is_directory(folder, ignored)) return folder;
  }
  return {};
}
