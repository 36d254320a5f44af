#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>

#include "nkutil/Calls.h"
#include "nkutil/Child.h"
#include "nkutil/Spawn_linux.h"
#include "nkutil/Tree_linux.h"

namespace nkutil {

namespace {

/// Between two looks at a process that is dead, but held by a tracer.
constexpr int kHeldLookMs = 10;

class ChildLinux : public Child {
 public:
  std::optional<LaunchError> start(const Command& command, ChildStreams streams) override;
  ProcessId id() const override { return static_cast<ProcessId>(fPid.load()); }
  void awaitEnd() override;
  int sweep() override;
  void ignoreThread(std::uint32_t number) override {
    const std::lock_guard<std::mutex> lock(fMutex);
    fTree.ignoreThread(static_cast<pid_t>(number));
  }
  int killed() const override;
  Ending reap(bool keepTree) override;

 private:
  std::atomic<pid_t> fPid{0};
  Descriptor fProcess;  ///< none on a system too old
  siginfo_t fEnd{};     ///< si_pid is 0 when the host reaped it
  mutable std::mutex fMutex;
  // Under the mutex:
  Tree fTree;
  bool fEnded = false;
  bool fReaped = false;
};

std::optional<LaunchError> ChildLinux::start(const Command& command, ChildStreams streams) {
  LaunchError error;
  const pid_t pid = spawn(command, fTree, streams, error);
  if (pid < 0) return error;
  fProcess = Descriptor(systemCall(Call::ProcessHandle, -1, [pid] {
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  }));
  moveAboveStreams(fProcess);
  const std::lock_guard<std::mutex> lock(fMutex);
  fTree.setLeader(pid);
  fPid = pid;
  return std::nullopt;
}

void ChildLinux::awaitEnd() {
  // Waiting on the process's handle sleeps through the stops of a tracer, which a tracer in this
  // process may want to see; waitid wakes up for each.
  const int options = WEXITED | WNOWAIT | (fProcess ? WNOHANG : 0);
  for (;;) {
    pollfd ended = {fProcess.get(), POLLIN, 0};
    if (fProcess) systemCall(Call::Poll, -1, [&] { return poll(&ended, 1, -1); });
    siginfo_t end{};
    const int result = systemCall(Call::WaitProcess, -1, [&] {
      return waitid(P_PID, static_cast<id_t>(fPid.load()), &end, options);
    });
    const bool over =
        end.si_code == CLD_EXITED || end.si_code == CLD_KILLED || end.si_code == CLD_DUMPED;
    if (result == 0 && end.si_pid != 0 && over) fEnd = end;
    if (fEnd.si_pid != 0 || (result < 0 && errno == ECHILD)) break;
    if (result == 0 || errno != EINTR) poll(nullptr, 0, kHeldLookMs);
  }
  const std::lock_guard<std::mutex> lock(fMutex);
  fEnded = true;
  if (fEnd.si_pid == 0) fTree.setLeaderless();
}

int ChildLinux::sweep() {
  const std::lock_guard<std::mutex> lock(fMutex);
  if (fReaped || (fEnded && fEnd.si_pid != 0 && fTree.isLeaderAlone())) return 0;
  try {
    return fTree.kill();
  } catch (const std::bad_alloc&) {
    return 1;
  }
}

int ChildLinux::killed() const {
  const std::lock_guard<std::mutex> lock(fMutex);
  return fTree.killed();
}

Ending ChildLinux::reap(bool /*keepTree*/) {
  const std::lock_guard<std::mutex> lock(fMutex);
  fReaped = true;
  if (fEnd.si_pid == 0) return {};
  siginfo_t end{};
  int result = 0;
  do {
    result = systemCall(Call::WaitProcess, -1, [&] {
      return waitid(P_PID, static_cast<id_t>(fPid.load()), &end, WEXITED);
    });
  } while (result != 0 && errno != ECHILD);
  Ending how;
  how.kind = fEnd.si_code == CLD_EXITED ? Ending::Kind::Exited : Ending::Kind::Signalled;
  how.code = static_cast<std::uint32_t>(fEnd.si_status);
  return how;
}

}  // namespace

std::unique_ptr<Child> makeChild() {
  return std::make_unique<ChildLinux>();
}

}  // namespace nkutil
