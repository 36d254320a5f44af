#include "app/CrashLine.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>

#include "log/Streams.h"

// Everything below ReportCrashes() runs inside a signal handler, in whatever state a driver left
// the process: plain system calls, no allocation, no lock, no function of the loader (dladdr waits
// for a thread that is inside dlopen).

namespace {

struct FatalSignal {
  int number;
  const char* name;
};
constexpr FatalSignal kFatalSignals[] = {
    {SIGSEGV, "SIGSEGV"}, {SIGBUS, "SIGBUS"},   {SIGILL, "SIGILL"}, {SIGFPE, "SIGFPE"},
    {SIGABRT, "SIGABRT"}, {SIGTRAP, "SIGTRAP"}, {SIGSYS, "SIGSYS"},
};

int failures = STDERR_FILENO;

/// Who called abort(), 0 before.
std::atomic<uintptr_t> abortCaller{0};

/// A fault's caller is looked for in this much of the stack.
constexpr size_t kScannedWords = 512;

/// Reads /proc/self/maps, line by line (proc(5)).
class MapsReader {
 public:
  struct Mapping {
    uintptr_t start = 0;
    uintptr_t end = 0;
    bool executable = false;
    char path[4096];
  };

  MapsReader() : fFile(open("/proc/self/maps", O_RDONLY | O_CLOEXEC)) {}
  ~MapsReader() {
    if (fFile != -1) close(fFile);
  }
  MapsReader(const MapsReader&) = delete;
  MapsReader& operator=(const MapsReader&) = delete;

  /// "start-end perms offset device inode   path"; false at the end.
  bool Next(Mapping& mapping) {
    char c = 0;
    if (!readHex(mapping.start, c) || !readHex(mapping.end, c)) return false;
    mapping.executable = false;
    while (get(c) && c != ' ') mapping.executable = mapping.executable || c == 'x';
    for (int fields = 0; fields < 3;) {
      if (!get(c)) return false;
      if (c == ' ') ++fields;
    }
    size_t length = 0;
    while (get(c) && c != '\n')
      if ((c != ' ' || length > 0) && length < sizeof mapping.path - 1) mapping.path[length++] = c;
    mapping.path[length] = 0;
    return true;
  }

 private:
  bool get(char& c) {
    if (fNext == fEnd) {
      const ssize_t count = fFile == -1 ? 0 : read(fFile, fBuffer, sizeof fBuffer);
      if (count <= 0) return false;
      fNext = 0;
      fEnd = static_cast<size_t>(count);
    }
    c = fBuffer[fNext++];
    return true;
  }
  bool readHex(uintptr_t& number, char& c) {
    number = 0;
    for (size_t digits = 0;; ++digits) {
      if (!get(c)) return false;
      const bool decimal = c >= '0' && c <= '9';
      if (!decimal && (c < 'a' || c > 'f')) return digits > 0;
      number = number * 16 + static_cast<uintptr_t>(decimal ? c - '0' : c - 'a' + 10);
    }
  }

  int fFile;
  size_t fNext = 0;
  size_t fEnd = 0;
  char fBuffer[4096];
};

/// The C library and what belongs to it only pass a caller's fault on.
bool isRuntime(const char* path) {
  const char* slash = std::strrchr(path, '/');
  const char* name = slash ? slash + 1 : path;
  for (const char* runtime :
       {"libc.", "libc-", "ld-", "libpthread", "libstdc++", "libgcc_s", "libm.", "libasan."})
    if (std::strncmp(name, runtime, std::strlen(runtime)) == 0) return true;
  return false;
}

struct Registers {
  uintptr_t counter;
  uintptr_t stack;
};

Registers registersOf(const void* context) {
  const mcontext_t& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
  return {static_cast<uintptr_t>(machine.gregs[REG_RIP]),
          static_cast<uintptr_t>(machine.gregs[REG_RSP])};
#elif defined(__aarch64__)
  return {machine.pc, machine.sp};
#else
#error "the registers of this processor"
#endif
}

/// The code at fault: what the first of the addresses that lies in a file's code belongs to.
struct Culprit {
  size_t index = kScannedWords;
  uintptr_t offset = 0;  ///< from where the file's first byte is mapped
  char path[4096] = "?";
};

/// Looks through all mappings once. The runtime's count only as the crashed instruction's own, and
/// only when nobody else is found.
void findCulprit(const uintptr_t* addresses, size_t count, Culprit& culprit) {
  static MapsReader::Mapping mapping;
  static char path[sizeof mapping.path];
  uintptr_t base = 0;
  MapsReader maps;
  while (maps.Next(mapping)) {
    if (std::strcmp(mapping.path, path) != 0) {
      std::strcpy(path, mapping.path);
      base = mapping.start;
    }
    if (!mapping.executable || path[0] != '/') continue;
    const bool runtime = isRuntime(path);
    for (size_t i = 0; i < count; ++i) {
      if (addresses[i] < mapping.start || addresses[i] >= mapping.end) continue;
      const size_t index = runtime ? (i == 0 ? kScannedWords - 1 : kScannedWords) : i;
      if (index >= culprit.index) continue;
      culprit.index = index;
      culprit.offset = addresses[i] - base;
      std::strcpy(culprit.path, path);
    }
  }
}

void writeLine(int number, const void* context) {
  // Static, because the handler's stack is small. Only one thread gets here.
  static uintptr_t addresses[kScannedWords];
  static Culprit culprit;
  static CrashText text;
  const Registers registers = registersOf(context);
  const uintptr_t aborting = number == SIGABRT ? abortCaller.load() : 0;
  addresses[0] = aborting ? aborting : registers.counter;
  // The system copies, and gives up where reading in place would fault.
  const iovec to = {addresses + 1, sizeof addresses - sizeof *addresses};
  const iovec from = {reinterpret_cast<void*>(registers.stack), to.iov_len};
  const ssize_t copied = process_vm_readv(getpid(), &to, 1, &from, 1, 0);
  const size_t words = copied > 0 ? static_cast<size_t>(copied) / sizeof *addresses : 0;
  findCulprit(addresses, 1 + words, culprit);

  // A driver's unfinished line may stand there.
  text.Add("\ncrash: ");
  for (const FatalSignal& fatal : kFatalSignals)
    if (fatal.number == number) text.Add(fatal.name);
  text.Add(" in ");
  text.Add(culprit.path);
  if (culprit.path[0] == '/') {
    text.Add('+');
    text.AddHex(culprit.offset);
  }
  text.EndLine();
  while (write(failures, text.data(), text.size()) == -1 && errno == EINTR) {
  }
}

void onFatalSignal(int number, siginfo_t*, void* context) {
  static std::atomic<pid_t> owner{0};
  const pid_t self = static_cast<pid_t>(syscall(SYS_gettid));
  pid_t nobody = 0;
  if (owner.compare_exchange_strong(nobody, self)) {
    writeLine(number, context);
  } else if (owner != self) {
    // Another thread is at it, and ends the process.
    for (;;) pause();
  }
  // Sent anew it is delivered at the end of this handler, in which it is blocked.
  signal(number, SIG_DFL);
  syscall(SYS_tgkill, getpid(), self, number);
}

}  // namespace

// In the place of the C library's: what the stack holds behind its frame may be left from earlier
// calls of others, while the return address is the caller's. And a driver's handler may only put
// ours back and return, as LLVM's does, so that the signal has to come again.
extern "C" void abort() {
  abortCaller = reinterpret_cast<uintptr_t>(__builtin_return_address(0));
  sigset_t abortOnly;
  sigemptyset(&abortOnly);
  sigaddset(&abortOnly, SIGABRT);
  for (int tries = 0;; ++tries) {
    if (tries >= 2) signal(SIGABRT, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &abortOnly, nullptr);
    raise(SIGABRT);
  }
}

void ReportCrashes() {
  failures = fileno(failureStream());
  alignas(16) static char stack[64 * 1024];
  stack_t alternate = {};
  alternate.ss_sp = stack;
  alternate.ss_size = sizeof stack;
  sigaltstack(&alternate, nullptr);
  struct sigaction action = {};
  action.sa_sigaction = onFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (const FatalSignal& fatal : kFatalSignals) sigaction(fatal.number, &action, nullptr);
}
