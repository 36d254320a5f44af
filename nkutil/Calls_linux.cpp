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

namespace {

/// A thread that is started meanwhile takes none of the host's signals.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &fBefore);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &fBefore, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t fBefore{};
};

}  // namespace

std::thread startThread(std::function<void()> body) {
  if (systemCall(Call::Thread, -1, [] { return 0; }) != 0) return {};
  const SignalsBlocked blocked;
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error& failure) {
    errno = failure.code().value();
    return {};
  }
}

}  // namespace nkutil
