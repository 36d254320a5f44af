#include <linux/futex.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

#include "rehearsal/Actions.h"

namespace rehearsal::system_actions {

void Hang() {
  static unsigned never = 0;
  for (;;) syscall(SYS_futex, &never, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
}

void StopUntilKilled() {
  kill(getpid(), SIGSTOP);
}

void LeaveChild() {
  if (fork() != 0) return;
  sleep(30);
  _exit(0);
}

void CloseStreams() {
  close(STDOUT_FILENO);
  close(STDERR_FILENO);
}

void TakeSignals() {
  for (const int number : {SIGSEGV, SIGALRM}) signal(number, [](int) {});
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
}

void WriteNoise() {
  // A stream that is closed has no noise to tell.
  if (write(STDOUT_FILENO, "line ", 5) == -1) return;
}

std::function<void()> RememberWinesSignal() {
  struct sigaction before = {};
  sigaction(SIGUSR1, nullptr, &before);
  return [before] { sigaction(SIGUSR1, &before, nullptr); };
}

}  // namespace rehearsal::system_actions
