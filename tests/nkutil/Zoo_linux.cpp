#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>

#include "Zoo.h"

namespace zoo {

void begin() {
  prctl(PR_SET_DUMPABLE, 1);
}

int startSelf(const std::vector<std::string>& arguments, Apart apart) {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  if (apart == Apart::Session) setsid();
  // By its own path, so that it has the name that is looked for.
  char path[4096];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path - 1);
  path[size] = '\0';
  execl(path, "zoo", arguments[0].c_str(), static_cast<char*>(nullptr));
  _exit(2);
}

void sleepMs(int milliseconds) {
  usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

void closeStreams() {
  for (const int descriptor : {0, 1, 2}) close(descriptor);
}

void ignoreRequests() {
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) signal(number, SIG_IGN);
}

namespace {

/// Each number of a descriptor that is open, then the lines of /proc about signals.
void showInherited() {
  DIR* folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder))
    if (entry->d_name[0] != '.' && std::atoi(entry->d_name) != dirfd(folder))
      std::printf("%s ", entry->d_name);
  closedir(folder);
  std::FILE* status = std::fopen("/proc/self/status", "r");
  char line[256];
  while (std::fgets(line, sizeof line, status))
    if (std::string(line, 3) == "Sig" && line[3] != 'Q') std::printf("%s", line);
  std::fclose(status);
}

}  // namespace

bool special(const std::string& mode, const std::vector<std::string>& arguments) {
  static const std::map<std::string, int> kSignals = {{"segv", SIGSEGV}, {"fpe", SIGFPE},
                                                      {"ill", SIGILL},   {"bus", SIGBUS},
                                                      {"stop", SIGSTOP}, {"pipe", SIGPIPE}};
  const auto signal = kSignals.find(mode);
  if (signal != kSignals.end()) {
    raise(signal->second);
  } else if (mode == "inherited") {
    showInherited();
  } else if (mode == "trace") {
    if (ptrace(PTRACE_SEIZE, std::atoi(arguments[0].c_str()), nullptr, nullptr) == 0)
      std::puts("tracing");
    std::fflush(stdout);
    sleepMs(60000);
  } else {
    return false;
  }
  return true;
}

}  // namespace zoo

int main(int count, char** values) {
  return zoo::run({values, values + count});
}
