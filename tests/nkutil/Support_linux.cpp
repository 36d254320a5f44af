#include <dirent.h>
#include <unistd.h>

#include <climits>
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

Leftovers countLeftovers() {
  Leftovers left;
  forEachEntry("/proc/self/fd", [&](const std::string&) { ++left.handles; });
  const std::string own = "/proc/" + std::to_string(getpid());
  forEachEntry("/proc", [&](const std::string& pid) {
    std::ifstream file("/proc/" + pid + "/stat");
    std::string word, name, state, parent;
    file >> word >> name >> state >> parent;
    // Zombies of other parents are theirs to reap.
    const bool ours = parent == std::to_string(getpid());
    if (name == "(zoo)" && (state != "Z" || ours)) ++left.processes;
  });
  std::ifstream file("/proc/self/statm");
  long total = 0;
  file >> total >> left.residentKiB;
  left.residentKiB *= sysconf(_SC_PAGESIZE) / 1024;
  return left;
}

}  // namespace nkutil::test
