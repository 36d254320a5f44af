#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>

#include "nkutil/Calls.h"
#include "nkutil/Pipe.h"
#include "nkutil/Spawn_linux.h"

namespace nkutil {

namespace {

/// What a pipe can hold where nobody raised the system's own limit.
constexpr std::size_t kLargestPipe = 1 << 20;
/// What a pipe holds at first: a reader that is handed this much at once is behind.
constexpr std::size_t kFlood = 65536;

/// Milliseconds for poll, rounded up so that it does not return before the deadline.
int pollTime(Time deadline) {
  if (deadline == kForever) return -1;
  const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

/// One handle and the means to end a wait on it from another thread.
class Waiter {
 public:
  Waiter(Handle handle, short events) : fHandle(std::move(handle)), fEvents(events) {
    if (!fHandle) return;
    fWake = Descriptor(systemCall(Call::Event, -1, [] { return eventfd(0, EFD_CLOEXEC); }));
    if (!moveAboveStreams(fWake)) fError = errno;
  }

  /// Done once the handle is ready.
  Transfer wait(Time deadline) {
    if (!fHandle || !fWake) return Transfer::Failed;
    for (;;) {
      const bool dry = fDry;
      pollfd polled[] = {{fHandle.get(), fEvents, 0}, {dry ? -1 : fWake.get(), POLLIN, 0}};
      const int timeout = dry ? 0 : pollTime(deadline);
      const int ready = systemCall(Call::Poll, -1, [&] { return ::poll(polled, 2, timeout); });
      if (fEnded) return Transfer::Ended;
      if (ready < 0 && errno != EINTR) return fail();
      if (ready > 0 && polled[0].revents != 0) return Transfer::Done;
      if (ready == 0 && dry) return Transfer::Ended;
      if (ready == 0 && Clock::now() >= deadline) return Transfer::Timeout;
    }
  }

  void end() {
    if (!fEnded.exchange(true)) wake();
  }
  void endWhenDry() {
    if (!fDry.exchange(true)) wake();
  }
  bool dry() const { return fDry; }

  Transfer fail() {
    fError = errno;
    return Transfer::Failed;
  }
  int get() const { return fHandle.get(); }
  int error() const { return fError; }

 private:
  void wake() {
    const std::uint64_t one = 1;
    if (fWake && ::write(fWake.get(), &one, sizeof one) < 0) return;  // it is full: awake already
  }

  Handle fHandle;
  Descriptor fWake;
  short fEvents;
  std::atomic<bool> fEnded{false};
  std::atomic<bool> fDry{false};
  std::atomic<int> fError{0};
};

}  // namespace

bool moveAboveStreams(Descriptor& descriptor) {
  if (!descriptor) return false;
  if (descriptor.get() > STDERR_FILENO) return true;
  descriptor.reset(systemCall(Call::Duplicate, -1, [&] {
    return fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  }));
  return static_cast<bool>(descriptor);
}

bool makePipe(PipeFor ours, Handle& ourEnd, Handle& childEnd, int& error) {
  int ends[2];
  if (systemCall(Call::Pipe, -1, [&] { return pipe2(ends, O_CLOEXEC); }) != 0) {
    error = errno;
    return false;
  }
  Descriptor reading(ends[0]);
  Descriptor writing(ends[1]);
  if (!moveAboveStreams(reading) || !moveAboveStreams(writing)) {
    error = errno;
    return false;
  }
  ourEnd = std::move(ours == PipeFor::Reading ? reading : writing);
  childEnd = std::move(ours == PipeFor::Reading ? writing : reading);
  return true;
}

Handle openNull() {
  Descriptor null(
      systemCall(Call::OpenNull, -1, [] { return open("/dev/null", O_RDWR | O_CLOEXEC); }));
  moveAboveStreams(null);
  return null;
}

struct Reader::State : Waiter {
  explicit State(Handle handle) : Waiter(std::move(handle), POLLIN) {}
  std::size_t dryRead = 0;
  bool grown = false;
};

Reader::Reader(Handle handle) : fState(std::make_unique<State>(std::move(handle))) {}
Reader::~Reader() = default;
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;

Transfer Reader::read(char* data, std::size_t size, Time deadline, std::size_t& got) {
  got = 0;
  for (;;) {
    const Transfer ready = fState->wait(deadline);
    if (ready != Transfer::Done) return ready;
    if (fState->dry() && fState->dryRead >= kLargestPipe) return Transfer::Ended;
    const ssize_t count =
        systemCall(Call::Read, ssize_t{-1}, [&] { return ::read(fState->get(), data, size); });
    if (count == 0) return Transfer::Closed;
    if (count < 0 && errno != EINTR && errno != EAGAIN) return fState->fail();
    if (count <= 0) continue;
    got = static_cast<std::size_t>(count);
    if (fState->dry()) fState->dryRead += got;
    // A flood: more room means fewer turns between the two sides. A refusal costs nothing.
    if (got >= kFlood && !std::exchange(fState->grown, true))
      fcntl(fState->get(), F_SETPIPE_SZ, static_cast<int>(kLargestPipe));
    return Transfer::Done;
  }
}

void Reader::end() {
  fState->end();
}
void Reader::endWhenDry() {
  fState->endWhenDry();
}
int Reader::error() const {
  return fState->error();
}

namespace {

/// Keeps SIGPIPE of this thread's writes from the host, without a look at what the host does
/// with it.
class NoBrokenPipeSignal {
 public:
  NoBrokenPipeSignal() {
    sigemptyset(&fPipe);
    sigaddset(&fPipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    fPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &fPipe, &fBefore);
  }
  ~NoBrokenPipeSignal() {
    const timespec now{};
    if (!fPending)
      while (sigtimedwait(&fPipe, nullptr, &now) < 0 && errno == EINTR) {
      }
    pthread_sigmask(SIG_SETMASK, &fBefore, nullptr);
  }
  NoBrokenPipeSignal(const NoBrokenPipeSignal&) = delete;
  NoBrokenPipeSignal& operator=(const NoBrokenPipeSignal&) = delete;

 private:
  sigset_t fPipe{};
  sigset_t fBefore{};
  bool fPending = false;
};

}  // namespace

struct Writer::State : Waiter {
  explicit State(Handle handle) : Waiter(std::move(handle), POLLOUT) {}
};

Writer::Writer(Handle handle) : fState(std::make_unique<State>(std::move(handle))) {}
Writer::~Writer() = default;
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;

Transfer Writer::write(std::string_view bytes, Time deadline) {
  const NoBrokenPipeSignal quiet;
  while (!bytes.empty()) {
    const Transfer ready = fState->wait(deadline);
    if (ready != Transfer::Done) return ready;
    // A pipe that is ready takes this much without blocking, and its flags, which others may
    // share, need no change.
    const std::size_t size = std::min<std::size_t>(bytes.size(), PIPE_BUF);
    const ssize_t count = systemCall(Call::Write, ssize_t{-1},
                                     [&] { return ::write(fState->get(), bytes.data(), size); });
    if (count < 0 && errno == EPIPE) return Transfer::Closed;
    if (count < 0 && errno != EINTR && errno != EAGAIN) return fState->fail();
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return Transfer::Done;
}

void Writer::end() {
  fState->end();
}
int Writer::error() const {
  return fState->error();
}

}  // namespace nkutil
