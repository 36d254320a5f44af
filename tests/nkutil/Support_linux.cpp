#include <dirent.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <functional>

#include "Support.h"

namespace nkutil::test {

namespace {

void forEachEntry(const char* path, const std::function<void(const std::string&)>& visit) {
  DIR* folder = opendir(path);
  while (const dirent* entry = readdir(folder)) visit(entry->d_name);
  closedir(folder);
}

}  // namespace

std::string ownPath() {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  return {path, static_cast<std::size_t>(size)};
}

void markRun() {
  setenv(kRunVariable, std::to_string(getpid()).c_str(), 0);
}

Leftovers countLeftovers() {
  Leftovers left;
  forEachEntry("/proc/self/fd", [&](const std::string&) { ++left.handles; });
  forEachEntry("/proc", [&](const std::string& pid) {
    std::ifstream file("/proc/" + pid + "/stat");
    std::string word, name, state, parent;
    file >> word >> name >> state >> parent;
    if (name != "(zoo)") return;
    // Other suites run beside this one. Zombies of other parents are theirs to reap.
    std::ifstream environment("/proc/" + pid + "/environ");
    std::getline(environment, word, '=');
    while (environment && word != kRunVariable) {
      std::getline(environment, word, '\0');
      std::getline(environment, word, '=');
    }
    std::getline(environment, word, '\0');
    const bool zombie = state == "Z" && parent == std::to_string(getpid());
    if (zombie || (state != "Z" && word == getenv(kRunVariable))) ++left.processes;
  });
  std::ifstream file("/proc/self/statm");
  long total = 0;
  file >> total >> left.residentKiB;
  left.residentKiB *= sysconf(_SC_PAGESIZE) / 1024;
  return left;
}

}  // namespace nkutil::test
