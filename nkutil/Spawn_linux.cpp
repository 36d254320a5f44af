#include "nkutil/Spawn_linux.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "nkutil/Calls.h"

namespace nkutil {

namespace {

enum Step : int {
  kSession,
  kParentDeath,
  kParentGone,
  kStreams,
  kOthers,
  kFolder,
  kExecute,
  kReport,
};
constexpr const char* kStepNames[] = {"setsid",
                                      "set the parent-death signal",
                                      "start under a parent that has gone",
                                      "set the standard streams",
                                      "close other descriptors",
                                      "enter the folder",
                                      "execve",
                                      "hear of the start"};

/// What a child that did not get as far as its program says.
struct Failure {
  int step;
  int error;
};

/// All that the child needs, made before it exists: it must allocate nothing.
struct Plan {
  std::string program;
  std::string folder;
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::vector<char*> argumentPointers;
  std::vector<char*> environmentPointers;
  int streams[3] = {0, 1, 2};
  int report = -1;  ///< where a Failure is written; closes when the program begins
  pid_t parent = 0;
  /// Set by a child that runs in this memory: it is done here when vfork() returns. Tools that
  /// watch memory turn vfork() into fork().
  mutable volatile bool sharesMemory = false;
};

// ---- In the child: nothing but system calls. It may share the host's memory.

int closeOthers() {
#ifdef SYS_close_range
  constexpr unsigned kCloseOnExec = 1U << 2;
  if (syscall(SYS_close_range, 3U, ~0U, kCloseOnExec) == 0) return 0;
#endif
  // A system older than that call, or one that forbids it.
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return -1;
  constexpr rlim_t kMost = 1 << 20;
  const int end = static_cast<int>(limit.rlim_cur < kMost ? limit.rlim_cur : kMost);
  for (int descriptor = 3; descriptor < end; ++descriptor) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return 0;
}

void restoreSignals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int number = 1; number <= SIGRTMAX; ++number) sigaction(number, &standard, nullptr);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

int setStream(int from, int to) {
  return from == to ? fcntl(to, F_SETFD, 0) : dup2(from, to);
}

int prepare(const Plan& plan) {
  const auto failed = [](Call call, auto function) {
    return systemCall(call, -1, [&] { return static_cast<int>(function()); }) < 0;
  };
  if (failed(Call::Session, [] { return setsid(); })) return kSession;
  if (failed(Call::ParentDeathSignal, [] { return prctl(PR_SET_PDEATHSIG, SIGKILL); }))
    return kParentDeath;
  if (getppid() != plan.parent) return kParentGone;
  for (int i = 0; i < 3; ++i)
    if (failed(Call::ChildStream, [&] { return setStream(plan.streams[i], i); })) return kStreams;
  if (failed(Call::CloseOthers, [] { return closeOthers(); })) return kOthers;
  if (!plan.folder.empty() && failed(Call::Folder, [&] { return chdir(plan.folder.c_str()); }))
    return kFolder;
  restoreSignals();
  systemCall(Call::Execute, -1, [&] {
    return execve(plan.program.c_str(), plan.argumentPointers.data(),
                  plan.environmentPointers.data());
  });
  return kExecute;
}

[[noreturn]] void runChild(const Plan& plan) {
  plan.sharesMemory = true;
  Failure failure{};
  failure.step = prepare(plan);
  failure.error = errno;
  while (::write(plan.report, &failure, sizeof failure) < 0 && errno == EINTR) {
  }
  _exit(127);
}

/// The child runs in this memory until its program begins, so that a large host is not copied.
__attribute__((noinline)) pid_t startChild(const Plan& plan) {
  const pid_t pid = vfork();  // NOLINT(clang-analyzer-security.insecureAPI.vfork)
  if (pid == 0) runChild(plan);
  return pid;
}

// ---- In the host.

bool hasSeparator(const std::string& program) {
  return program.find('/') != std::string::npos;
}

/// 0 when the file is one that could be executed; else the error's code.
int checkProgram(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  return access(path.c_str(), X_OK) == 0 ? 0 : errno;
}

/// Finds the path of the program. 0, or the error's code.
int findProgram(const std::string& name, std::string& path) {
  path = name;
  if (name.empty()) return ENOENT;
  if (hasSeparator(name)) return checkProgram(path);
  const char* folders = getenv("PATH");
  std::string rest = folders ? folders : "/usr/bin:/bin";
  int error = ENOENT;
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    const std::string folder = rest.substr(0, end);
    rest.erase(0, end == std::string::npos ? end : end + 1);
    const std::string candidate = (folder.empty() ? "." : folder) + "/" + name;
    const int verdict = checkProgram(candidate);
    if (verdict == 0) {
      path = candidate;
      return 0;
    }
    if (verdict == EACCES) error = EACCES;
  }
  return error;
}

std::string absolute(const std::string& path) {
  if (path.empty() || path.front() == '/') return path;
  const std::unique_ptr<char, void (*)(void*)> here(getcwd(nullptr, 0), free);
  return here ? std::string(here.get()) + "/" + path : path;
}

std::vector<std::string> environmentOf(const Command& command, const Tree& tree) {
  std::map<std::string, std::string> all;
  if (command.inheritEnvironment) {
    for (char** entry = environ; entry && *entry; ++entry) {
      const char* equals = std::strchr(*entry, '=');
      if (equals)
        all.emplace(std::string(*entry, static_cast<std::size_t>(equals - *entry)), equals + 1);
    }
  }
  for (const auto& [name, value] : command.environment) {
    if (value)
      all[name] = *value;
    else
      all.erase(name);
  }
  const std::string mark(Tree::kMarkVariable);
  all[mark] = tree.markValue(getenv(mark.c_str()));
  std::vector<std::string> lines;
  lines.reserve(all.size());
  for (const auto& [name, value] : all) lines.emplace_back(name).append("=").append(value);
  return lines;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// The first text with a zero byte, which the system would cut off there.
const std::string* cutOff(const Command& command) {
  const auto cut = [](const std::string& text) { return text.find('\0') != std::string::npos; };
  for (const std::string& argument : command.arguments)
    if (cut(argument)) return &argument;
  for (const auto& [name, value] : command.environment)
    if (cut(name) || (value && cut(*value))) return &name;
  if (cut(command.program)) return &command.program;
  return cut(command.folder) ? &command.folder : nullptr;
}

LaunchError describe(const Failure& failure, const Plan& plan) {
  errno = failure.error;
  LaunchError error =
      launchError(kStepNames[failure.step], failure.step == kFolder ? plan.folder : plan.program);
  // The file is there, so it is another one that is missing.
  if (failure.step == kExecute && failure.error == ENOENT && checkProgram(plan.program) == 0)
    error.step = "execve (the program's interpreter or loader)";
  return error;
}

/// What the child reports before its program begins; nothing when it has begun.
std::optional<Failure> readFailure(int report, const Plan& plan) {
  Failure failure{};
  pollfd written = {report, POLLIN, 0};
  // The end of the pipe alone would not do: a child that another thread of the host forked just
  // now may hold it open.
  if (plan.sharesMemory && poll(&written, 1, 0) == 0) return std::nullopt;
  for (;;) {
    const ssize_t count = systemCall(Call::Read, ssize_t{-1},
                                     [&] { return ::read(report, &failure, sizeof failure); });
    if (count == sizeof failure) return failure;
    if (count >= 0) return std::nullopt;
    if (errno != EINTR) return Failure{kReport, errno};
  }
}

void reapFailed(pid_t pid) {
  // Its program may have begun where only the report of that got lost, and started others.
  kill(-pid, SIGKILL);
  kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
}

}  // namespace

pid_t spawn(const Command& command, const Tree& tree, const ChildStreams& streams,
            LaunchError& error) {
  Plan plan;
  error.path = command.program;
  if (const std::string* text = cutOff(command)) {
    errno = EINVAL;
    error = launchError("pass a zero byte", *text == command.program ? "" : command.program);
    return -1;
  }
  const bool found = systemCall(Call::FindProgram, false, [&] {
    errno = findProgram(command.program, plan.program);
    return errno == 0;
  });
  if (!found) {
    error = launchError("find the program", command.program);
    return -1;
  }
  plan.folder = command.folder;
  if (!plan.folder.empty()) plan.program = absolute(plan.program);
  plan.arguments = command.arguments;
  plan.arguments.insert(plan.arguments.begin(), command.program);
  plan.environment = environmentOf(command, tree);
  plan.argumentPointers = pointersTo(plan.arguments);
  plan.environmentPointers = pointersTo(plan.environment);
  // A stream of the host's that is closed is nothing for the child.
  Handle null;
  const Handle* given[] = {&streams.in, &streams.out, &streams.err};
  for (int i = 0; i < 3; ++i) {
    plan.streams[i] = *given[i] ? given[i]->get() : i;
    if (*given[i] || fcntl(i, F_GETFD) >= 0) continue;
    if (!null) null = openNull();
    plan.streams[i] = null.get();
  }
  Handle report;
  Handle childReport;
  int code = 0;
  if (!makePipe(PipeFor::Reading, report, childReport, code)) {
    errno = code;
    error = launchError("make a pipe", plan.program);
    return -1;
  }
  plan.report = childReport.get();
  plan.parent = getpid();
  const pid_t pid = systemCall(Call::Spawn, pid_t{-1}, [&] { return startChild(plan); });
  if (pid < 0) {
    error = launchError("vfork", plan.program);
    return -1;
  }
  childReport.reset();
  const std::optional<Failure> failure = readFailure(report.get(), plan);
  if (!failure) return pid;
  reapFailed(pid);
  error = describe(*failure, plan);
  return -1;
}

}  // namespace nkutil
