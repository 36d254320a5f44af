#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>

#include "nkutil/Calls.h"
#include "nkutil/Pipe.h"

namespace nkutil {

namespace {

constexpr DWORD kPipeSize = 65536;
/// What is still read of a stream that others hold open.
constexpr std::size_t kLastBytes = 1 << 20;

WinHandle owned(HANDLE handle) {
  return WinHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

WinHandle makeEvent() {
  return WinHandle(systemCall(Call::Event, HANDLE{nullptr},
                              [] { return CreateEventW(nullptr, TRUE, FALSE, nullptr); }));
}

DWORD millisecondsUntil(Time deadline) {
  if (deadline == kForever) return INFINITE;
  const auto left = std::chrono::ceil<Milliseconds>(deadline - Clock::now()).count();
  return static_cast<DWORD>(std::clamp<long long>(left, 0, 1 << 30));
}

/// One overlapped transfer at a time, with memory of its own: the system may still move bytes
/// after a wait has ended.
class Overlapped {
 public:
  explicit Overlapped(Handle handle) : fHandle(std::move(handle)), fDone(makeEvent()) {
    if (fDone) fWake = makeEvent();
    if (!fWake) fError = systemError();
  }
  ~Overlapped() { cancel(); }
  Overlapped(const Overlapped&) = delete;
  Overlapped& operator=(const Overlapped&) = delete;

  /// Starts a transfer unless one is on its way, and waits for it; Done: `moved` bytes of it.
  template <class Start>
  Transfer transfer(Call call, Start start, Time deadline, DWORD& moved) {
    if (!fHandle || !fDone || !fWake) return Transfer::Failed;
    if (fEnded) return Transfer::Ended;
    if (!fPending) {
      fOverlapped = {};
      fOverlapped.hEvent = fDone.get();
      const BOOL started = systemCall(call, FALSE, [&] { return start(&fOverlapped); });
      if (!started && GetLastError() != ERROR_IO_PENDING) return failed();
      fPending = true;
    }
    const Transfer waited = wait(deadline);
    if (waited != Transfer::Done) return waited;
    fPending = false;
    return GetOverlappedResult(fHandle.get(), &fOverlapped, &moved, FALSE) ? Transfer::Done
                                                                           : failed();
  }

  void cancel() {
    if (!std::exchange(fPending, false)) return;
    DWORD moved = 0;
    CancelIoEx(fHandle.get(), &fOverlapped);
    GetOverlappedResult(fHandle.get(), &fOverlapped, &moved, TRUE);
  }
  void end() {
    fEnded = true;
    if (fWake) SetEvent(fWake.get());
  }
  void endWhenDry() {
    fDry = true;
    if (fWake) SetEvent(fWake.get());
  }
  bool dry() const { return fDry; }
  HANDLE get() const { return fHandle.get(); }
  int error() const { return fError; }

 private:
  Transfer wait(Time deadline) {
    for (;;) {
      const bool dry = fDry;
      const HANDLE handles[] = {fDone.get(), fWake.get()};
      const DWORD result = systemCall(Call::Poll, WAIT_FAILED, [&] {
        return WaitForMultipleObjects(dry ? 1 : 2, handles, FALSE,
                                      dry ? 0 : millisecondsUntil(deadline));
      });
      if (fEnded) return Transfer::Ended;
      if (result == WAIT_OBJECT_0) return Transfer::Done;
      if (result == WAIT_FAILED) return failed();
      if (result == WAIT_TIMEOUT && dry) return Transfer::Ended;
      if (result == WAIT_TIMEOUT && Clock::now() >= deadline) return Transfer::Timeout;
    }
  }

  Transfer failed() {
    const DWORD error = GetLastError();
    if (error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF || error == ERROR_NO_DATA ||
        error == ERROR_PIPE_NOT_CONNECTED)
      return Transfer::Closed;
    fError = static_cast<int>(error);
    return Transfer::Failed;
  }

  Handle fHandle;
  WinHandle fDone;
  WinHandle fWake;
  OVERLAPPED fOverlapped{};
  bool fPending = false;
  std::atomic<bool> fEnded{false};
  std::atomic<bool> fDry{false};
  std::atomic<int> fError{0};
};

}  // namespace

bool makePipe(PipeFor ours, Handle& ourEnd, Handle& childEnd, int& error) {
  // Anonymous pipes can't be waited for with a deadline, so it is one with a name nobody knows.
  static std::atomic<unsigned> pipes{0};
  wchar_t name[96];
  std::swprintf(name, std::size(name), L"\\\\.\\pipe\\nkutil.%lu.%u.%llx", GetCurrentProcessId(),
                pipes++, static_cast<unsigned long long>(Clock::now().time_since_epoch().count()));
  const bool reading = ours == PipeFor::Reading;
  const DWORD mode = (reading ? PIPE_ACCESS_INBOUND : PIPE_ACCESS_OUTBOUND) | FILE_FLAG_OVERLAPPED |
                     FILE_FLAG_FIRST_PIPE_INSTANCE;
  ourEnd = owned(systemCall(Call::Pipe, INVALID_HANDLE_VALUE, [&] {
    return CreateNamedPipeW(
        name, mode, PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, 1,
        kPipeSize, kPipeSize, 0, nullptr);
  }));
  if (ourEnd) {
    const DWORD access =
        reading ? GENERIC_WRITE | FILE_READ_ATTRIBUTES : GENERIC_READ | FILE_WRITE_ATTRIBUTES;
    childEnd = owned(systemCall(Call::Pipe, INVALID_HANDLE_VALUE, [&] {
      return CreateFileW(name, access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    }));
  }
  if (ourEnd && childEnd) return true;
  error = systemError();
  ourEnd.reset();
  return false;
}

Handle openNull() {
  return owned(systemCall(Call::OpenNull, INVALID_HANDLE_VALUE, [] {
    return CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       nullptr, OPEN_EXISTING, 0, nullptr);
  }));
}

struct Reader::State {
  explicit State(Handle handle) : pipe(std::move(handle)) {}
  const std::unique_ptr<char[]> bytes{new char[kPipeSize]};
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t dryRead = 0;
  Overlapped pipe;  ///< last: its transfer ends before the bytes go
};

Reader::Reader(Handle handle) : fState(std::make_unique<State>(std::move(handle))) {}
Reader::~Reader() = default;
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;

Transfer Reader::read(char* data, std::size_t size, Time deadline, std::size_t& got) {
  State& state = *fState;
  got = 0;
  // A child may write nothing, and that is read, too.
  while (state.begin == state.end) {
    if (state.pipe.dry() && state.dryRead >= kLastBytes) return Transfer::Ended;
    DWORD moved = 0;
    const auto start = [&state](OVERLAPPED* overlapped) {
      return ReadFile(state.pipe.get(), state.bytes.get(), kPipeSize, nullptr, overlapped);
    };
    const Transfer result = state.pipe.transfer(Call::Read, start, deadline, moved);
    if (result != Transfer::Done) return result;
    state.begin = 0;
    state.end = moved;
  }
  got = std::min(size, state.end - state.begin);
  std::memcpy(data, state.bytes.get() + state.begin, got);
  state.begin += got;
  if (state.pipe.dry()) state.dryRead += got;
  return Transfer::Done;
}

void Reader::end() {
  fState->pipe.end();
}
void Reader::endWhenDry() {
  fState->pipe.endWhenDry();
}
int Reader::error() const {
  return fState->pipe.error();
}

struct Writer::State {
  explicit State(Handle handle) : pipe(std::move(handle)) {}
  const std::unique_ptr<char[]> bytes{new char[kPipeSize]};
  Overlapped pipe;
};

Writer::Writer(Handle handle) : fState(std::make_unique<State>(std::move(handle))) {}
Writer::~Writer() = default;
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;

Transfer Writer::write(std::string_view bytes, Time deadline) {
  State& state = *fState;
  while (!bytes.empty()) {
    const auto size = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), kPipeSize));
    std::memcpy(state.bytes.get(), bytes.data(), size);
    DWORD moved = 0;
    const auto start = [&](OVERLAPPED* overlapped) {
      return WriteFile(state.pipe.get(), state.bytes.get(), size, nullptr, overlapped);
    };
    const Transfer result = state.pipe.transfer(Call::Write, start, deadline, moved);
    if (result != Transfer::Done) {
      state.pipe.cancel();
      return result;
    }
    bytes.remove_prefix(moved);
  }
  return Transfer::Done;
}

void Writer::end() {
  fState->pipe.end();
}
int Writer::error() const {
  return fState->pipe.error();
}

}  // namespace nkutil
