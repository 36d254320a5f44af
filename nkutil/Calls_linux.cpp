#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "nkutil/Calls.h"
#include "nkutil/Handle.h"

namespace nkutil {

void DescriptorTraits::close(int descriptor) {
  const int kept = errno;
  // Never again after EINTR: the kernel has closed it, and its number may be another's already.
  ::close(descriptor);
  errno = kept;
}

int systemError() {
  return errno;
}

void setSystemError(int error) {
  errno = error;
}

std::string systemErrorText(int error) {
  return std::generic_category().message(error);
}

std::uint32_t currentThreadNumber() {
  return static_cast<std::uint32_t>(gettid());
}

std::thread startThread(std::function<void()> body) {
  if (systemCall(Call::Thread, -1, [] { return 0; }) != 0) return {};
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread;
  int error = 0;
  try {
    thread = std::thread(std::move(body));
  } catch (const std::system_error& failure) {
    error = failure.code().value();
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return thread;
}

}  // namespace nkutil
