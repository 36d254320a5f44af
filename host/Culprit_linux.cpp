#include <elf.h>
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "host/Culprit.h"

namespace host {

namespace {

constexpr std::size_t kStackBytes = 4096;
constexpr nkutil::Milliseconds kStepInKernel{50};

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct Registers {
  std::uint64_t counter = 0;
  std::uint64_t stack = 0;
};

Registers registersOf(const user_regs_struct& registers) {
#if defined(__x86_64__)
  return {registers.rip, registers.rsp};
#elif defined(__aarch64__)
  return {registers.pc, registers.sp};
#else
#error "the registers of this processor"
#endif
}

/// Stops a process for as long as it lives itself, where that takes no longer than the limit. All
/// on one thread.
class Tracer {
 public:
  Tracer(pid_t process, nkutil::Milliseconds toStop) : fProcess(process) {
    fSeized = ptrace(PTRACE_SEIZE, process, nullptr, nullptr) == 0;
    if (!fSeized || ptrace(PTRACE_INTERRUPT, process, nullptr, nullptr) != 0) return;
    const nkutil::Time limit = nkutil::Clock::now() + toStop;
    // The end of the process is not ours to take.
    while (!fStopped && nkutil::Clock::now() < limit) {
      siginfo_t info{};
      if (waitid(P_PID, static_cast<id_t>(process), &info, WSTOPPED | WNOHANG) != 0) return;
      fStopped = info.si_pid == process;
      if (!fStopped) std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }
  ~Tracer() {
    if (fSeized) ptrace(PTRACE_DETACH, fProcess, nullptr, nullptr);
  }
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  std::optional<Registers> registers() const {
    user_regs_struct registers{};
    iovec to = {&registers, sizeof registers};
    if (!fStopped || ptrace(PTRACE_GETREGSET, fProcess, NT_PRSTATUS, &to) != 0) return std::nullopt;
    return registersOf(registers);
  }

 private:
  const pid_t fProcess;
  bool fSeized = false;
  bool fStopped = false;
};

/// Of a thread that is inside a system call and doesn't stop for a tracer: /proc/PID/syscall ends
/// with stack pointer and program counter (proc(5)).
std::optional<Registers> registersOfWait(const std::string& folder) {
  std::istringstream words(readFile(folder + "syscall"));
  std::vector<std::string> fields{std::istream_iterator<std::string>(words), {}};
  if (fields.size() < 3) return std::nullopt;
  const auto number = [](const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 16);
  };
  return Registers{number(fields[fields.size() - 1]), number(fields[fields.size() - 2])};
}

/// "D drm_read": the state's letter and the kernel's function that waits.
std::string threadState(const std::string& folder) {
  const std::string stat = readFile(folder + "stat");
  // The name in parentheses may hold anything.
  const std::size_t close = stat.rfind(')');
  if (close == stat.npos || close + 2 >= stat.size()) return "";
  std::string state(1, stat[close + 2]);
  const std::string function = readFile(folder + "wchan");
  if (!function.empty() && function != "0") state += " " + function;
  return state;
}

/// The C library and what belongs to it only pass a caller's wait on.
bool isRuntime(const std::string& file) {
  const std::string name = file.substr(file.rfind('/') + 1);
  for (const char* runtime : {"libc.", "libc-", "ld-linux", "ld-", "libpthread", "libstdc++",
                              "libgcc_s", "libm.", "libasan.", "libubsan.", "libtsan."})
    if (name.compare(0, std::strlen(runtime), runtime) == 0) return true;
  return false;
}

/// /proc/PID/maps: "start-end perms offset device inode   path" (proc(5)).
std::vector<CodeRange> readCode(const std::string& folder) {
  char program[PATH_MAX] = "";
  const ssize_t length = readlink((folder + "exe").c_str(), program, sizeof program - 1);
  const std::string own(program, length > 0 ? static_cast<std::size_t>(length) : 0);
  std::vector<CodeRange> code;
  std::istringstream maps(readFile(folder + "maps"));
  CodeRange range;
  for (std::string line; std::getline(maps, line);) {
    std::istringstream fields(line);
    std::string access, offset, device, inode, file;
    char dash = 0;
    fields >> std::hex >> range.begin >> dash >> range.end >> access >> offset >> device >> inode;
    std::getline(fields >> std::ws, file);
    if (file.empty() || file[0] != '/') continue;
    if (file != range.file) range.base = range.begin;
    range.file = file;
    range.passesOn = file == own || isRuntime(file);
    if (access.size() > 2 && access[2] == 'x') code.push_back(range);
  }
  return code;
}

}  // namespace

Culprit FindCulpritOnSystem(nkutil::ProcessId process, nkutil::Milliseconds toStop) {
  const std::string folder = "/proc/" + std::to_string(process) + "/";
  Culprit culprit;
  // Before it is stopped, which is a state as well.
  culprit.threadState = threadState(folder);
  const auto pid = static_cast<pid_t>(process);
  // What is held up inside the kernel doesn't stop; /proc tells where it entered.
  if (culprit.threadState[0] == 'D') toStop = std::min(toStop, kStepInKernel);
  const Tracer tracer(pid, toStop);
  std::optional<Registers> registers = tracer.registers();
  if (!registers) registers = registersOfWait(folder);
  if (!registers) return culprit;
  ThreadPlace place;
  place.counter = registers->counter;
  place.stack.resize(kStackBytes / sizeof place.stack[0]);
  const iovec to = {place.stack.data(), kStackBytes};
  const iovec from = {reinterpret_cast<void*>(registers->stack), kStackBytes};
  const ssize_t copied = process_vm_readv(pid, &to, 1, &from, 1, 0);
  place.stack.resize(copied > 0 ? static_cast<std::size_t>(copied) / sizeof place.stack[0] : 0);
  NameCulprit(place, readCode(folder), culprit);
  return culprit;
}

}  // namespace host
