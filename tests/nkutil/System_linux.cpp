#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "tests/nkutil/Support.h"

namespace nkutil::test {

std::string ownPath() {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  return {path, static_cast<std::size_t>(size)};
}

std::vector<Row> systemRows() {
  return {{{"exit", "259"}, kEnough, "exit code 3"},  // eight bits are kept
          {{"raise", "11"}, kEnough, "SIGSEGV"},
          {{"raise", "8"}, kEnough, "SIGFPE"},
          {{"raise", "19"}, kShort, "SIGKILL", 0, 1},  // stopped
          {{"abort"}, kEnough, "SIGABRT"},
          {{"overflow"}, kEnough, "SIGSEGV"},
          {{"storm", "200"}, 2000, "SIGKILL", 1, 2},
          {{"print", "1024"}, kEnough, "exit code 0", 1 << 30}};
}

std::vector<int> faultCodes() {
  return {EINTR, EMFILE};
}

/// Set for this program and all that comes of it: other suites run beside this one.
constexpr const char* kRunVariable = "NKUTIL_TEST_RUN";

void markRun() {
  setenv(kRunVariable, std::to_string(getpid()).c_str(), 0);
}

Leftovers countLeftovers() {
  const auto forEachEntry = [](const char* path, auto visit) {
    DIR* folder = opendir(path);
    while (const dirent* entry = readdir(folder)) visit(entry->d_name);
    closedir(folder);
  };
  Leftovers left;
  forEachEntry("/proc/self/fd", [&](const std::string&) { ++left.handles; });
  const std::string mark = std::string(kRunVariable) + "=" + getenv(kRunVariable);
  forEachEntry("/proc", [&](const std::string& pid) {
    std::ifstream file("/proc/" + pid + "/stat");
    std::string word, name, state, parent;
    file >> word >> name >> state >> parent;
    if (name != "(zoo)") return;
    // Zombies have no environment any more; those of other parents are theirs to reap.
    bool ours = state == "Z" && parent == std::to_string(getpid());
    std::ifstream environment("/proc/" + pid + "/environ");
    while (std::getline(environment, word, '\0')) ours = ours || word == mark;
    if (ours) ++left.processes;
  });
  return left;
}

long residentKiB() {
  std::ifstream file("/proc/self/statm");
  long pages = 0;
  file >> pages >> pages;
  return pages * (sysconf(_SC_PAGESIZE) / 1024);
}

namespace {

int check(bool right, const std::string& what) {
  if (!right) std::fprintf(stderr, "wrong: %s\n", what.c_str());
  return right ? 0 : 1;
}

int checkOutput() {
  const RunResult result = run(zoo({"say", "x"}));
  return check(result.out.text + result.ending.name() == "xexit code 0", "the output");
}

/// The state is known, the exit code is not; a kill works as ever.
int ignoresSigchld() {
  signal(SIGCHLD, SIG_IGN);
  const RunResult ended = run(zoo({"exit", "3"}));
  Command endless = zoo({"storm", "3"});
  endless.killBudget = kSurely;
  const RunResult killed = run(endless, in(kShort));
  return check(ended.ending.name() == "unknown" && ended.id && !ended.timedOut, "the end") +
         check(killed.timedOut && !killed.stuck && !countLeftovers().processes, "the kill");
}

int closedStreams() {
  for (const int descriptor : {0, 1, 2}) close(descriptor);
  Command command = zoo({"copy"});
  command.input = Command::Input::Host;
  command.err.to = Command::Output::To::Host;
  int wrong = checkOutput() + check(run(command).ending.name() == "exit code 0", "a closed stream");
  for (const int descriptor : {0, 1, 2}) wrong += fcntl(descriptor, F_GETFD) < 0 ? 0 : 1;
  return wrong;
}

int manyDescriptors() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 20100);
  setrlimit(RLIMIT_NOFILE, &limit);
  for (rlim_t i = 100; i < limit.rlim_cur; ++i)
    if (open("/dev/null", O_RDONLY) < 0) return check(false, "open");
  return checkOutput();
}

/// What a library could change of its host: signals, folder, environment, who adopts orphans.
std::string hostState() {
  char here[PATH_MAX];
  std::string all = getcwd(here, sizeof here);
  for (char** entry = environ; *entry; ++entry) all += std::string("\n") + *entry;
  std::ifstream status("/proc/thread-self/status");
  for (std::string line; std::getline(status, line);)
    if (line.substr(0, 3) == "Sig" && line[3] != 'Q') all += "\n" + line;
  int subreaper = 0;
  prctl(PR_GET_CHILD_SUBREAPER, &subreaper);
  return all + "\n" + std::to_string(subreaper);
}

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
  std::thread([] {}).join();  // with the first, the C library sets handlers of its own
  const std::string before = hostState();
  const std::string zeros = ":\t" + std::string(16, '0') + "\n";
  const std::string right =
      "0 1 2 SigPnd" + zeros + "SigBlk" + zeros + "SigIgn" + zeros + "SigCgt" + zeros;
  std::atomic<int> wrong{0};
  std::thread threads[4];
  for (std::thread& thread : threads)
    thread = std::thread([&] {
      for (int k = 0; k < 10; ++k) {
        const std::string seen = run(zoo({"inherited"})).out.text;
        wrong += check(seen == right, seen);
      }
    });
  for (std::thread& thread : threads) thread.join();
  return wrong + check(before == hostState(), "the host was changed");
}

TEST(ConsoleAppLinux, ProcessHeldByATracerHoldsNobody) {
  const Leftovers before = countLeftovers();
  auto victim = launch(zoo({"sleep"}));
  auto tracer = launch(zoo({"trace", std::to_string(victim->id())}));
  Line line;
  ASSERT_EQ(tracer->nextLine(line, in(kEnough)), Channel::Taken::Line);
  const Metronome machine;
  const Time begin = Clock::now();
  EXPECT_FALSE(victim->Kill(Milliseconds(300)));
  EXPECT_LE(millisecondsBetween(begin, Clock::now()), machine.allow(300 + 50));
  EXPECT_EQ(victim->state(), AppState::Killing);
  EXPECT_EQ(victim->nextLine(line, kForever), Channel::Taken::Closed);
  const Time letGo = Clock::now();
  victim.reset();
  EXPECT_LE(millisecondsBetween(letGo, Clock::now()), machine.allow(100));
  // The tracer's end lets the background reap it.
  EXPECT_TRUE(tracer->Kill(kSurely));
  tracer.reset();
  expectNothingLeft(before, "a traced process");
}

TEST(ConsoleAppLinux, KeptTreeIsLeftAlone) {
  Command command = zoo({"grandchild-id"});
  command.keepTree = true;
  const Leftovers before = countLeftovers();
  const RunResult result = run(command);
  EXPECT_EQ(countLeftovers().processes, 1);
  EXPECT_EQ(kill(std::stoi(result.out.text), SIGKILL), 0);
  expectNothingLeft(before, "a kept tree");
}

TEST(LaunchLinux, FilesThatAreNoPrograms) {
  std::string foreign = std::string("\x7f") + "ELF\x02\x01\x01" + std::string(57, '\0');
  foreign[16] = 2;
  foreign[18] = '\xF3';  // RISC-V
  const std::string path = ownPath() + ".file";
  using File = std::tuple<std::string, mode_t, int, const char*>;
  for (const auto& [text, mode, code, part] :
       {File("hello", 0644, EACCES, "find the program"), File("\x01\x02", 0755, ENOEXEC, "execve"),
        File(foreign, 0755, ENOEXEC, "execve"),
        File("#!/no/such/interpreter\n", 0755, ENOENT, "interpreter")}) {
    std::ofstream(path) << text;
    chmod(path.c_str(), mode);
    Command command;
    command.program = path;
    const RunResult result = run(command);
    unlink(path.c_str());
    ASSERT_TRUE(result.error) << text;
    EXPECT_EQ(result.error->code, code) << result.error->message();
    EXPECT_NE(result.error->step.find(part), std::string::npos) << result.error->step;
  }
}

}  // namespace

const std::map<std::string, std::function<int()>>& hostModes() {
  static const std::map<std::string, std::function<int()>> all = {
      {"ignores-sigchld", ignoresSigchld},
      {"closed-streams", closedStreams},
      {"many-descriptors", manyDescriptors},
      {"untouched", untouched}};
  return all;
}

}  // namespace nkutil::test
