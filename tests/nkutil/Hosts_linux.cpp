#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <functional>
#include <map>

#include "Support.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

int check(bool right, const std::string& what) {
  if (!right) std::fprintf(stderr, "wrong: %s\n", what.c_str());
  return right ? 0 : 1;
}

int checkOutput() {
  const RunResult result = run(zoo({"say", "x"}));
  return check(!result.error && result.out.text == "x" && result.ending.code == 0,
               result.error ? result.error->message() : result.out.text);
}

/// The state is known, the exit code is not; a kill works as ever.
int checkUnknownEnd() {
  const RunResult ended = run(zoo({"exit", "3"}));
  Command endless = zoo({"left-session"});
  endless.arguments = {"storm", "3"};
  endless.killBudget = milliseconds(20000);
  const RunResult killed = run(endless, in(1500));
  return check(!ended.error && ended.ending.name() == "unknown" && !ended.timedOut, "the end") +
         check(killed.timedOut && !killed.stuck, "the kill") +
         check(countLeftovers().processes == 0, "processes are left");
}

int reapsEverything() {
  std::thread([] {
    for (;;)
      if (waitpid(-1, nullptr, 0) < 0) usleep(100);
  }).detach();
  int wrong = 0;
  // Either side may be first.
  for (int i = 0; i < 20; ++i) {
    const RunResult result = run(zoo({"exit", "3"}));
    const std::string how = result.ending.name();
    wrong += check(!result.error && (how == "unknown" || how == "exit code 3"), how);
  }
  return wrong;
}

int closedStreams() {
  for (const int descriptor : {0, 1, 2}) close(descriptor);
  int wrong = checkOutput();
  Command command = zoo({"copy"});
  command.input = Command::Input::Host;
  command.err.to = Command::Output::To::Host;
  wrong += run(command).ending.name() == "exit code 0" ? 0 : 1;
  for (const int descriptor : {0, 1, 2}) wrong += fcntl(descriptor, F_GETFD) < 0 ? 0 : 1;
  return wrong;
}

int manyDescriptors() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max < 20100 ? limit.rlim_max : 20100;
  setrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t wanted = limit.rlim_cur - 100;
  for (rlim_t i = 0; i < wanted; ++i)
    if (open("/dev/null", O_RDONLY) < 0) return check(false, "open");
  return checkOutput();
}

struct HostState {
  sigset_t mask{};
  std::string folder;
  std::string environment;
  void (*handlers[32])(int) = {};
  int subreaper = 0;

  HostState() {
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    char here[PATH_MAX];
    folder = getcwd(here, sizeof here);
    for (char** entry = environ; *entry; ++entry) environment += std::string(*entry) + "\n";
    for (int i = 1; i < 32; ++i) {
      struct sigaction action {};
      sigaction(i, nullptr, &action);
      handlers[i] = action.sa_handler;
    }
    prctl(PR_GET_CHILD_SUBREAPER, &subreaper);
  }
  bool operator==(const HostState& other) const {
    for (int i = 1; i < 32; ++i)
      if (sigismember(&mask, i) != sigismember(&other.mask, i) || handlers[i] != other.handlers[i])
        return false;
    return folder == other.folder && environment == other.environment &&
           subreaper == other.subreaper;
  }
};

/// A host with a mask, handlers, ignored signals and descriptors that others would inherit, in
/// several threads at once: neither side sees the other's.
int untouched() {
  signal(SIGCHLD, [](int) {});
  signal(SIGHUP, SIG_IGN);
  sigset_t some;
  sigemptyset(&some);
  sigaddset(&some, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &some, nullptr);
  for (int i = 0; i < 50; ++i) dup(0);
  const HostState before;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&wrong] {
      for (int k = 0; k < 10; ++k) {
        const std::string seen = run(zoo({"inherited"})).out.text;
        const std::string zeros(16, '0');
        wrong += check(seen == "0 1 2 SigPnd:\t" + zeros + "\nSigBlk:\t" + zeros + "\nSigIgn:\t" +
                                   zeros + "\nSigCgt:\t" + zeros + "\n",
                       seen);
      }
    });
  for (std::thread& thread : threads) thread.join();
  return wrong + check(before == HostState(), "the host was changed");
}

int holdsAChild() {
  LaunchError error;
  const auto app = systemLauncher().launch(zoo({"sleep"}), in(60000), error);
  std::puts("holds");
  std::fflush(stdout);
  usleep(500000);
  return raise(SIGKILL);
}

}  // namespace

int runHost(const std::string& mode) {
  static const std::map<std::string, std::function<int()>> kModes = {
      {"ignores-sigchld", [] { return signal(SIGCHLD, SIG_IGN), checkUnknownEnd(); }},
      {"reaps-everything", reapsEverything},
      {"closed-streams", closedStreams},
      {"many-descriptors", manyDescriptors},
      {"untouched", untouched},
      {"holds-a-child", holdsAChild}};
  return kModes.at(mode)();
}

}  // namespace nkutil::test
