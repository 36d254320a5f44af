#include "nkutil/Tree_linux.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "nkutil/Calls.h"
#include "nkutil/Handle.h"

namespace nkutil {

namespace {

/// Ticks since boot, as in /proc/PID/stat.
std::uint64_t ticksNow() {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  const auto perSecond = static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
  return static_cast<std::uint64_t>(now.tv_sec) * perSecond +
         static_cast<std::uint64_t>(now.tv_nsec) * perSecond / 1000000000;
}

/// What a file of /proc holds, up to `size` bytes; empty when it can't be read.
std::string_view readFile(const char* path, char* into, std::size_t size) {
  const Descriptor file(
      systemCall(Call::ListProcesses, -1, [&] { return open(path, O_RDONLY | O_CLOEXEC); }));
  if (!file) return {};
  const ssize_t count = ::read(file.get(), into, size);
  return {into, count > 0 ? static_cast<std::size_t>(count) : 0};
}

/// The blank-separated field `index`, from 0; empty when there are fewer.
std::string_view field(std::string_view text, int index) {
  for (; index > 0; --index) {
    const std::size_t blank = text.find(' ');
    if (blank == std::string_view::npos) return {};
    text.remove_prefix(blank + 1);
  }
  return text.substr(0, text.find_first_of(" \n"));
}

template <class Number>
Number number(std::string_view text) {
  Number value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

struct PathText {
  char text[64];
  PathText(pid_t pid, const char* file) {
    std::snprintf(text, sizeof text, "/proc/%d/%s", static_cast<int>(pid), file);
  }
};

bool isAlive(char state) {
  return state != 'Z' && state != 'X' && state != 'x';
}

}  // namespace

Tree::Tree() : fEarliest(ticksNow()) {
  static std::atomic<unsigned> launches{0};
  char text[64];
  // The time tells a host from an earlier one with the same process number.
  std::snprintf(text, sizeof text, "%d.%llu.%u", static_cast<int>(getpid()),
                static_cast<unsigned long long>(fEarliest), launches++);
  fMark = text;
}

std::string Tree::markValue(const char* hostsValue) const {
  return hostsValue && *hostsValue ? std::string(hostsValue) + ":" + fMark : fMark;
}

/// The last number that was given out, to a process or a thread; 0 when it is not known.
pid_t Tree::newestNumber() {
  char text[256];
  return number<pid_t>(field(readFile("/proc/loadavg", text, sizeof text), 4));
}

bool Tree::isLeaderAlone() const {
  // It can't come round to the leader's while the leader holds it.
  const pid_t newest = newestNumber();
  if (newest < fLeader) return false;
  for (pid_t started = fLeader + 1; started <= newest; ++started)
    if (fOwnThreads.count(started) == 0) return false;
  return true;
}

bool Tree::readProcess(pid_t pid, Process& process) {
  char text[1024];
  std::string_view all = readFile(PathText(pid, "stat").text, text, sizeof text);
  // The name in parentheses may hold anything.
  const std::size_t nameEnd = all.rfind(") ");
  if (nameEnd == std::string_view::npos) return false;
  all.remove_prefix(nameEnd + 2);
  process.pid = pid;
  process.state = all[0];
  process.parent = number<pid_t>(field(all, 1));
  process.group = number<pid_t>(field(all, 2));
  process.session = number<pid_t>(field(all, 3));
  process.start = number<std::uint64_t>(field(all, 19));
  return true;
}

/// Whether a process that started after the leader may have a lower number. The kernel starts no
/// two in a microsecond: each takes its number under one lock.
bool Tree::numbersCameRound() const {
  static const long count = [] {
    char text[32];
    return number<long>(readFile("/proc/sys/kernel/pid_max", text, sizeof text));
  }();
  return Clock::now() - fMade >= std::chrono::microseconds(count) || newestNumber() < fLeader;
}

std::vector<Tree::Process> Tree::laterProcesses() const {
  std::vector<Process> found;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(
      systemCall(Call::ListProcesses, static_cast<DIR*>(nullptr), [] { return opendir("/proc"); }),
      closedir);
  if (!folder) return found;
  const pid_t lowest = numbersCameRound() ? 1 : fLeader;
  while (const dirent* entry = readdir(folder.get())) {
    const auto pid = number<pid_t>(entry->d_name);
    Process process;
    if (pid >= lowest && readProcess(pid, process) && process.start >= fEarliest)
      found.push_back(process);
  }
  return found;
}

bool Tree::hasMark(pid_t pid) const {
  const Descriptor file(systemCall(Call::ListProcesses, -1, [pid] {
    return open(PathText(pid, "environ").text, O_RDONLY | O_CLOEXEC);
  }));
  if (!file) return false;
  std::string all;
  char piece[4096];
  for (ssize_t count = 0; (count = ::read(file.get(), piece, sizeof piece)) > 0;)
    all.append(piece, static_cast<std::size_t>(count));
  const std::string name = '\0' + std::string(kMarkVariable) + "=";
  const std::size_t begin = ('\0' + all).find(name);
  if (begin == std::string::npos) return false;
  const std::string value = std::string(all.c_str() + begin + name.size() - 1) + ":";
  return (":" + value).find(":" + fMark + ":") != std::string::npos;
}

std::vector<Tree::Process> Tree::members() const {
  Process leader;
  if (isLeaderAlone() && readProcess(fLeader, leader)) return {leader};
  std::vector<Process> rest = laterProcesses();
  // With nobody left who keeps the session's number from being given out again, it is ours only
  // while no process has that number.
  const bool sessionIsOurs =
      !fLeaderless ||
      std::none_of(rest.begin(), rest.end(), [this](const Process& p) { return p.pid == fLeader; });
  std::vector<Process> found;
  const auto collect = [&](auto belongs) {
    const auto others =
        std::partition(rest.begin(), rest.end(), [&](const Process& p) { return !belongs(p); });
    const bool any = others != rest.end();
    found.insert(found.end(), others, rest.end());
    rest.erase(others, rest.end());
    return any;
  };
  collect([&](const Process& p) {
    return (sessionIsOurs && p.session == fLeader) || (isAlive(p.state) && hasMark(p.pid));
  });
  while (collect([&](const Process& p) {
    return std::any_of(found.begin(), found.end(),
                       [&](const Process& parent) { return parent.pid == p.parent; });
  })) {
  }
  return found;
}

void Tree::killExactly(const Process& process) {
  // The handle first, then the check that its process is still the one that was looked at.
  const Descriptor handle(systemCall(Call::ProcessHandle, -1, [&] {
    return static_cast<int>(syscall(SYS_pidfd_open, process.pid, 0));
  }));
  Process present;
  if (!readProcess(process.pid, present) || present.start != process.start) return;
  systemCall(Call::Kill, -1, [&] {
    if (!handle) return ::kill(process.pid, SIGKILL);
    return static_cast<int>(syscall(SYS_pidfd_send_signal, handle.get(), SIGKILL, nullptr, 0));
  });
}

int Tree::kill() {
  const std::vector<Process> all = members();
  // The leader's group at one stroke: no fork of theirs gets away.
  const bool groupKilled =
      !fLeaderless && systemCall(Call::Kill, -1, [this] { return ::kill(-fLeader, SIGKILL); }) == 0;
  int alive = 0;
  for (const Process& process : all) {
    if (!isAlive(process.state)) continue;
    ++alive;
    fKilled.insert({process.pid, process.start});
    if (!groupKilled || process.group != fLeader) killExactly(process);
  }
  return alive;
}

}  // namespace nkutil
