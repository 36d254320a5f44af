#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "nkutil/Calls.h"
#include "tests/nkutil/Support.h"

namespace nkutil::test {

namespace fs = std::filesystem;

std::string ownPath() {
  return fs::read_symlink("/proc/self/exe");
}

std::vector<Row> systemRows() {
  return {{{"exit", "259"}, kEnough, "exit code 3"},  // eight bits are kept
          {{"overflow"}, kEnough, "SIGSEGV"},
          {{"raise", "8"}, kEnough, "SIGFPE"},
          {{"raise", "19"}, kShort, "SIGKILL", 0, 1},  // stopped
          {{"abort"}, kEnough, "SIGABRT"},
          {{"storm", "200"}, kLonger, "SIGKILL", 1, 2},
          {{"print", "1024"}, kEnough, "exit code 0", 1 << 30}};
}

std::vector<BadStart> systemBadStarts() {
  std::string foreign = std::string("\x7f") + "ELF\x02\x01\x01" + std::string(57, '\0');
  foreign[16] = 2;
  foreign[18] = '\xF3';  // RISC-V
  const std::string path = ownPath() + ".file";
  return {{path, "find the program: Permission denied (13)", "", "hello", false},
          {path, "execve: Exec format error (8)", "", "\x01\x02"},
          {path, "execve: Exec format error (8)", "", foreign},
          {path, "(the program's interpreter or loader)", "", "#!/no/such/interpreter\n"}};
}

const std::vector<int> kFaultCodes = {EINTR, EMFILE};

// Set for this program and all that comes of it: other suites run beside this one.
constexpr const char* kRunVariable = "NKUTIL_TEST_RUN";
const int marked = setenv(kRunVariable, std::to_string(getpid()).c_str(), 0);

int openHandles() {
  return static_cast<int>(std::distance(fs::directory_iterator("/proc/self/fd"), {}));
}

int zooProcesses() {
  int count = 0;
  const std::string mark = std::string(kRunVariable) + "=" + getenv(kRunVariable);
  for (const auto& process : fs::directory_iterator("/proc")) {
    std::ifstream file(process.path() / "stat");
    std::string word, name, state, parent;
    file >> word >> name >> state >> parent;
    if (name != "(zoo)") continue;
    // Zombies have no environment any more; those of other parents are theirs to reap.
    bool ours = state == "Z" && parent == std::to_string(getpid());
    std::ifstream environment(process.path() / "environ");
    while (std::getline(environment, word, '\0')) ours = ours || word == mark;
    if (ours) ++count;
  }
  return count;
}

namespace {

/// The state is known, the exit code is not; a kill works as ever.
void ignoreSigchld() {
  signal(SIGCHLD, SIG_IGN);
  const RunResult ended = run(zoo({"exit", "3"}));
  Command endless = zoo({"storm", "3"});
  endless.killBudget = kSurely;
  const RunResult killed = run(endless, in(kShort));
  if (ended.ending.name() != "unknown" || !ended.id || ended.timedOut) _exit(1);
  _exit(killed.timedOut && !killed.stuck && zooProcesses() == 0 ? 0 : 2);
}

void closeStreams() {
  for (const int descriptor : {0, 1, 2}) close(descriptor);
  bool right = runsOnOwnStreams();
  for (const int descriptor : {0, 1, 2}) right = right && fcntl(descriptor, F_GETFD) < 0;
  _exit(right ? 0 : 2);
}

void openMany() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 20100);
  bool right = setrlimit(RLIMIT_NOFILE, &limit) == 0;
  for (rlim_t i = 100; i < limit.rlim_cur; ++i) right = open("/dev/null", O_RDONLY) >= 0 && right;
  _exit(right && run(zoo({"say", "x"})).out.text == "x" ? 0 : 1);
}

/// What the zoo has from a host that starts it without us.
std::string plainlyInherited() {
  std::FILE* pipe = popen((zoo({}).program + " inherited").c_str(), "re");
  std::string all;
  for (int c = 0; (c = std::getc(pipe)) != EOF;) all += static_cast<char>(c);
  pclose(pipe);
  return all;
}

/// What a library could change of its host: signals, folder, environment, who adopts orphans.
std::string hostState() {
  std::string all = fs::current_path();
  for (char** entry = environ; *entry; ++entry) all += std::string("\n") + *entry;
  std::ifstream status("/proc/thread-self/status");
  for (std::string line; std::getline(status, line);)
    if (line.substr(0, 3) == "Sig" && line[3] != 'Q') all += "\n" + line;
  int subreaper = 0;
  prctl(PR_GET_CHILD_SUBREAPER, &subreaper);
  return all + "\n" + std::to_string(subreaper);
}

// The sanitizers have descriptors of their own at times, UBSan's checks of objects two pipes: plain
// children inherit them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kToolHasDescriptors = true;
#else
constexpr bool kToolHasDescriptors = false;
#endif

/// A host with a mask, handlers, ignored signals and descriptors that others inherit, in several
/// threads at once: neither side sees the other's, and what it starts by itself has none of ours.
void startManyThings() {
  signal(SIGCHLD, [](int) {});
  signal(SIGHUP, SIG_IGN);
  const auto other = launch(zoo({"sleep"}));
  sigset_t some;
  sigemptyset(&some);
  sigaddset(&some, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &some, nullptr);
  kill(getpid(), SIGTERM);  // ends it where a thread of ours takes it
  for (int i = 0; i < 50; ++i) dup(0);
  std::thread([] {}).join();  // with the first, the C library sets handlers of its own
  const std::string state = hostState();
  const std::string plainly = plainlyInherited();
  const std::string zeros = ":\t" + std::string(16, '0') + "\n";
  const std::string right =
      "0 1 2 SigPnd" + zeros + "SigBlk" + zeros + "SigIgn" + zeros + "SigCgt" + zeros;
  std::atomic<int> wrong{0};
  std::thread threads[4];
  for (std::thread& thread : threads)
    thread = std::thread([&, others = &thread - threads] {
      for (int k = 0; k < 20; ++k)
        if (others % 2 ? plainlyInherited() != plainly && !kToolHasDescriptors
                       : run(zoo({"inherited"})).out.text != right)
          ++wrong;
    });
  for (std::thread& thread : threads) thread.join();
  _exit(wrong + (state == hostState() ? 0 : 100));
}

/// Nothing that it starts can be ended before its tracer goes.
struct TracingLauncher : ConsoleAppLauncher {
  std::unique_ptr<ConsoleApp> tracer;
  std::unique_ptr<ConsoleApp> launch(const Command& command, Time deadline,
                                     LaunchError& error) override {
    auto app = systemLauncher().launch(command, deadline, error);
    tracer = test::launch(zoo({"trace", std::to_string(app->id())}));
    Line line;
    EXPECT_EQ(tracer->nextLine(line, deadline), Channel::Taken::Line);
    return app;
  }
  Time now() override { return Clock::now(); }
};

TEST(ConsoleAppLinux, ProcessHeldByATracerHoldsNobody) {
  const NothingLeft nothing;
  TracingLauncher launcher;
  Command command = zoo({"sleep"});
  command.killBudget = Milliseconds(300);
  const Metronome machine;
  const Time deadline = in(kShort);
  const RunResult result = nkutil::Run(launcher, command, deadline);
  EXPECT_LE(millisecondsSince(deadline), machine.allow(300 + 150));
  EXPECT_TRUE(result.timedOut && result.stuck);
  EXPECT_EQ(result.ending.name(), "unknown");
  // The tracer's end lets the background reap it.
  EXPECT_TRUE(launcher.tracer->Kill(kSurely));
}

TEST(ConsoleAppLinux, NumberIsItsOwnUntilTheEnd) {
  Command command = zoo({"grandchild"});
  command.drainBudget = kSurely;
  const auto app = launch(command);
  ASSERT_TRUE(app->WaitFor(AppState::Finishing, in(kEnough)));
  EXPECT_EQ(kill(static_cast<pid_t>(app->id()), 0), 0);
  EXPECT_TRUE(app->Kill(kSurely));
}

/// In the child: its parent is killed just before it asks to die with it.
int killParent(Call call) {
  if (call != Call::ParentDeathSignal) return 0;
  const pid_t parent = getppid();
  kill(parent, SIGKILL);
  while (getppid() == parent) usleep(1000);
  return 0;
}

TEST(HostDeathTest, GoesDuringTheStart) {
  const NothingLeft nothing;
  const auto host = [] { setCallFault(killParent), run(zoo({"sleep"})); };
  EXPECT_EXIT(host(), testing::KilledBySignal(SIGKILL), "");
  std::this_thread::sleep_for(Milliseconds(300));  // for a program that should not begin
}

TEST(HostDeathTest, IsLeftAsItWas) {
  for (void (*host)() : {ignoreSigchld, closeStreams, openMany, startManyThings})
    EXPECT_EXIT(host(), testing::ExitedWithCode(0), "");
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_max < 20000) GTEST_SKIP() << "with " << limit.rlim_max << " descriptors only";
}

}  // namespace

}  // namespace nkutil::test
