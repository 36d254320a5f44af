#include <fcntl.h>
#include <sanitizer/lsan_interface.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <thread>

#include "app/CrashLine.h"
#include "app/Platform.h"
#include "log/Streams.h"

// There in builds with sanitizers only.
#pragma weak __lsan_do_leak_check

namespace {

// A driver's file that lands on a closed standard descriptor would get our report. The filler is
// opened the wrong way round, so that using the closed stream still fails as it did.
void fillClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lower ones are open by now, so this one is what open() gives.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1) return;
  }
}

// Warnings that a host would take for failures of ours. Whoever wants them sets the level himself.
// https://docs.mesa3d.org/envvars.html
void quietDrivers() {
  setenv("EGL_LOG_LEVEL", "fatal", 0);
  setenv("LIBGL_DEBUG", "quiet", 0);
}

}  // namespace

void PreparePlatform() {
  fillClosedDescriptors();
  makeStreamsPrivate();
  quietDrivers();
  ReportCrashes();
  // A line that cannot be written is noticed by its failing write: a host that stops reading, or
  // a file that may not grow, must not change the exit code.
  for (const int number : {SIGPIPE, SIGXFSZ}) std::signal(number, SIG_IGN);
}

void LeaveProcess(int code) {
  flushStreams();
  // Otherwise the check is an exit handler like any other.
  if (__lsan_do_leak_check) __lsan_do_leak_check();
  _exit(code);
}

void ArmTimeout(int32_t seconds) {
  // A host may have handed down an ignored or blocked SIGALRM.
  std::signal(SIGALRM, SIG_DFL);
  sigset_t alarmOnly;
  sigemptyset(&alarmOnly);
  sigaddset(&alarmOnly, SIGALRM);
  sigprocmask(SIG_UNBLOCK, &alarmOnly, nullptr);
  alarm(seconds > 0 ? static_cast<unsigned>(seconds) : 0);
}

void HangBeforeExit(int32_t milliseconds) {
  if (milliseconds > 0) std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}
