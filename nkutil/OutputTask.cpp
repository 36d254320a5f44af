#include <atomic>
#include <new>
#include <utility>
#include <vector>

#include "nkutil/Calls.h"
#include "nkutil/Pipe.h"

namespace nkutil {

namespace {

constexpr std::size_t kFirstReadSize = 4096;
constexpr std::size_t kReadSize = 65536;

}  // namespace

struct OutputTask::State {
  State(Handle handle, Options given) : reader(std::move(handle)), options(std::move(given)) {}

  void run();
  void grow();
  void take(std::string_view bytes, Time time);

  Reader reader;
  Options options;
  std::vector<char> space = std::vector<char>(kFirstReadSize);
  bool wanted = true;  ///< the sink's last answer
  std::atomic<std::uint64_t> bytesRead{0};
  std::atomic<bool> finished{false};
  std::atomic<std::uint32_t> thread{0};
};

/// For a program that says much.
void OutputTask::State::grow() {
  try {
    space.resize(kReadSize);
  } catch (const std::bad_alloc&) {
    return;  // it goes on in small steps
  }
}

void OutputTask::State::take(std::string_view bytes, Time time) {
  if (bytesRead == 0 && options.atFirstByte) options.atFirstByte(time);
  bytesRead += bytes.size();
  if (!options.sink)
    options.channel->push(options.stream, bytes, time);
  else if (wanted)
    wanted = options.sink(bytes, time);
}

void OutputTask::State::run() {
  thread = currentThreadNumber();
  std::size_t got = 0;
  while (reader.read(space.data(), space.size(), kForever, got) == Transfer::Done) {
    take({space.data(), got}, Clock::now());
    if (got == space.size() && got < kReadSize) grow();
  }
  options.channel->close(options.stream);
  // What the callbacks hold may hold this task.
  const std::function<void()> atEnd = std::move(options.atEnd);
  options.atFirstByte = nullptr;
  options.sink = nullptr;
  finished = true;
  if (atEnd) atEnd();
}

OutputTask::~OutputTask() {
  if (!fThread.joinable()) return;
  end();
  // The last callback may itself be what lets go of this task.
  if (finished() && fThread.get_id() != std::this_thread::get_id())
    fThread.join();
  else
    fThread.detach();
}

bool OutputTask::start(Handle handle, Options options, int& error) {
  fState = std::make_shared<State>(std::move(handle), std::move(options));
  error = fState->reader.error();
  if (error == 0) {
    fThread = startThread([state = fState] { state->run(); });
    if (fThread.joinable()) return true;
    error = systemError();
  }
  fState.reset();
  return false;
}

void OutputTask::end() {
  if (fState && !finished()) fState->reader.end();
}

void OutputTask::endWhenDry() {
  if (fState && !finished()) fState->reader.endWhenDry();
}

std::uint32_t OutputTask::threadNumber() const {
  return fState ? fState->thread.load() : 0;
}

std::uint64_t OutputTask::bytesRead() const {
  return fState ? fState->bytesRead.load() : 0;
}

int OutputTask::error() const {
  return fState ? fState->reader.error() : 0;
}

bool OutputTask::finished() const {
  return !fState || fState->finished;
}

}  // namespace nkutil
