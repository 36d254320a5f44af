#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include <fstream>
#include <iostream>

#include "tests/nkutil/Zoo.h"

int zoo::startSelf(const char* mode, Apart apart) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  if (apart == Apart::Session) setsid();
  // By its own path, so that it has the name that is looked for.
  char path[4096];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path - 1);
  path[size] = '\0';
  execl(path, "zoo", mode, static_cast<char*>(nullptr));
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

void trace(pid_t victim) {
  if (ptrace(PTRACE_SEIZE, victim, nullptr, nullptr) == 0) std::cout << "tracing" << std::endl;
  pause();
}

}  // namespace

const zoo::Modes& zoo::systemModes() {
  static const Modes all = {
      {"raise", [](const Arguments& a) { raise(std::stoi(a[0])); }},
      {"inherited", [](const Arguments&) { showInherited(); }},
      {"trace", [](const Arguments& a) { trace(std::stoi(a[0])); }},
  };
  return all;
}

int main(int count, char** values) {
  return zoo::run({values, values + count});
}
