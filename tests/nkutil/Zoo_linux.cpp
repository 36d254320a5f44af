#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "tests/nkutil/Zoo.h"

void zoo::startSelf(const char* mode, Apart apart) {
  if (fork() != 0) return;
  if (apart != Apart::No) setsid();
  if (apart == Apart::Unmarked) unsetenv("NKUTIL_TREE");
  // By its own path, so that it has the name that is looked for.
  execl(std::filesystem::read_symlink("/proc/self/exe").c_str(), "zoo", mode, nullptr);
  _exit(2);
}

void zoo::ignoreRequests() {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) signal(number, SIG_IGN);
}

namespace {

/// Each number of a descriptor that is open, then the lines of /proc about signals.
void showInherited() {
  for (int descriptor = 0; descriptor < 1000; ++descriptor)
    if (fcntl(descriptor, F_GETFD) >= 0) std::cout << descriptor << " ";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.substr(0, 3) == "Sig" && line[3] != 'Q') std::cout << line << "\n";
}

}  // namespace

int main(int count, char** values) {
  return zoo::run({values, values + count},
                  {{"raise", [](const zoo::Arguments& a) { raise(std::stoi(a[0])); }},
                   {"inherited", [](const zoo::Arguments&) { showInherited(); }},
                   {"trace", [](const zoo::Arguments& a) {
                      if (ptrace(PTRACE_SEIZE, std::stoi(a[0]), nullptr, nullptr) == 0)
                        std::cout << "tracing" << std::endl;
                      pause();
                    }}});
}
