#include <algorithm>
#include <new>

#include "nkutil/Calls.h"
#include "nkutil/SystemApp.h"

namespace nkutil {

namespace {

/// Between two looks at a tree that is being ended.
constexpr Milliseconds kFirstLook{1};
constexpr Milliseconds kLastLook{10};

const Command::Output& outputOf(const Command& command, Stream stream) {
  return stream == Stream::Out ? command.out : command.err;
}

}  // namespace

LaunchError launchError(const char* step, const std::string& path) {
  const int code = systemError();
  return {step, code, systemErrorText(code), path};
}

AppCore::AppCore(const Command& given)
    : command(given), channel(std::make_shared<Channel>(given.out.cap, given.err.cap)) {}

std::optional<LaunchError> AppCore::openOutput(Stream stream) {
  const Command::Output& output = outputOf(command, stream);
  Handle& childEnd = stream == Stream::Out ? fStreams.out : fStreams.err;
  if (output.to == Command::Output::To::Host || output.to == Command::Output::To::Nothing) {
    channel->close(stream);
    if (output.to == Command::Output::To::Host) return std::nullopt;
    childEnd = openNull();
    if (!childEnd) return launchError("open the null device", command.program);
    return std::nullopt;
  }
  int error = 0;
  if (makePipe(PipeFor::Reading, fReading[static_cast<int>(stream)], childEnd, error))
    return std::nullopt;
  setSystemError(error);
  return launchError("make a pipe", command.program);
}

bool AppCore::startTask(Stream stream, int& error) {
  const int index = static_cast<int>(stream);
  if (!fReading[index]) return true;
  const Command::Output& output = outputOf(command, stream);
  OutputTask::Options options;
  options.stream = stream;
  options.channel = channel;
  if (output.to == Command::Output::To::Sink) options.sink = output.sink;
  options.atFirstByte = [core = shared_from_this()](Time time) {
    const std::lock_guard<std::mutex> lock(core->mutex);
    core->log.enter(AppState::Running, time);
    core->changed.notify_all();
  };
  options.atEnd = [core = shared_from_this(), index] {
    const std::lock_guard<std::mutex> lock(core->mutex);
    core->fStreamDone[index] = true;
    core->fStreamsChanged.notify_all();
  };
  {
    const std::lock_guard<std::mutex> lock(mutex);
    fStreamDone[index] = false;
  }
  if (tasks[index].start(std::move(fReading[index]), std::move(options), error)) return true;
  const std::lock_guard<std::mutex> lock(mutex);
  fStreamDone[index] = true;
  return false;
}

std::optional<LaunchError> AppCore::startReading() {
  int error = 0;
  const bool started = startTask(Stream::Out, error) && startTask(Stream::Err, error);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    fReadingStarted = true;
    fStreamsChanged.notify_all();
  }
  if (started) return std::nullopt;
  setSystemError(error);
  return launchError("start a reading thread", command.program);
}

std::optional<LaunchError> AppCore::open() {
  for (const Stream stream : {Stream::Out, Stream::Err})
    if (auto error = openOutput(stream)) return error;
  if (command.input == Command::Input::Host) return std::nullopt;
  if (command.input == Command::Input::Nothing) {
    fStreams.in = openNull();
    if (fStreams.in) return std::nullopt;
    return launchError("open the null device", command.program);
  }
  int error = 0;
  Handle ourEnd;
  if (makePipe(PipeFor::Writing, ourEnd, fStreams.in, error)) {
    input = std::make_shared<Writer>(std::move(ourEnd));
    error = input->error();
  }
  if (error == 0) return std::nullopt;
  setSystemError(error);
  return launchError("make a pipe", command.program);
}

std::optional<LaunchError> AppCore::awaitLaunch(Time deadline) {
  std::unique_lock<std::mutex> lock(mutex);
  while (!fLaunchOver && waitUntil(changed, lock, deadline)) {
  }
  if (fLaunchOver) return fError;
  fAbandoned = true;
  return LaunchError{"start", 0, "not started by the deadline", command.program};
}

void AppCore::keep() {
  std::optional<LaunchError> error;
  try {
    error = child->start(command, std::move(fStreams));
  } catch (const std::bad_alloc&) {
    error = LaunchError{"start", 0, "out of memory", command.program};
  }
  std::unique_lock<std::mutex> lock(mutex);
  fError = std::move(error);
  fLaunchOver = true;
  if (fError) {
    keeperDone = true;
    changed.notify_all();
    return;
  }
  log.enter(AppState::Launched, Clock::now());
  if (fAbandoned) log.enter(AppState::Killing, Clock::now());
  const bool unwanted = fAbandoned;
  changed.notify_all();
  lock.unlock();
  if (unwanted) child->sweep();
  child->awaitEnd();
  drain();
  lock.lock();
  const bool keepTree = command.keepTree && !killing();
  lock.unlock();
  const Ending how = child->reap(keepTree);
  lock.lock();
  ending = how;
  const bool crashed = how.kind == Ending::Kind::Signalled || how.kind == Ending::Kind::Exception;
  log.enter(crashed ? AppState::Crashed : AppState::Finished, Clock::now());
  keeperDone = true;
  changed.notify_all();
  over.notify_all();
}

void AppCore::drain() {
  std::unique_lock<std::mutex> lock(mutex);
  while (!fReadingStarted) waitUntil(fStreamsChanged, lock, kForever);
  const Time now = Clock::now();
  log.enter(AppState::Finishing, now);
  changed.notify_all();
  while (!streamsDone() && !killing() &&
         waitUntil(fStreamsChanged, lock, now + command.drainBudget)) {
  }
  for (const OutputTask& task : tasks) child->ignoreThread(task.threadNumber());
  if (killing() || !command.keepTree) sweepUntilGone(lock);
  for (OutputTask& task : tasks) task.endWhenDry();
  // A sink may still be busy with what was read: that is the host's time, up to a kill.
  while (!streamsDone() && waitUntil(fStreamsChanged, lock, killing() ? fDrainUntil : kForever)) {
  }
  endStreams(lock);
}

void AppCore::sweepUntilGone(std::unique_lock<std::mutex>& lock) {
  const Time until = Clock::now() + command.killBudget;
  Milliseconds look = kFirstLook;
  for (;;) {
    lock.unlock();
    const int left = child->sweep();
    lock.lock();
    fLeft = left;
    const Time now = Clock::now();
    if (left == 0 || now >= (killing() ? fKillUntil : until)) return;
    waitUntil(fStreamsChanged, lock, now + look);
    look = std::min(look * 2, kLastLook);
  }
}

bool AppCore::kill(Milliseconds budget) {
  std::unique_lock<std::mutex> lock(mutex);
  const Time until = Clock::now() + budget;
  if (log.ended()) return fLeft == 0;
  log.enter(AppState::Killing, Clock::now());
  fKillUntil = std::max(fKillUntil, until);
  fDrainUntil = std::max(fDrainUntil, until - budget / 2);
  changed.notify_all();
  fStreamsChanged.notify_all();
  Milliseconds look = kFirstLook;
  for (;;) {
    lock.unlock();
    child->sweep();
    lock.lock();
    const Time now = Clock::now();
    if (log.ended()) return fLeft == 0;
    if (now >= until) break;
    waitUntil(over, lock, std::min(until, now + look));
    look = std::min(look * 2, kLastLook);
  }
  endStreams(lock);
  return false;
}

void AppCore::endStreams(std::unique_lock<std::mutex>& lock) {
  const std::shared_ptr<Writer> writer = input;
  lock.unlock();
  if (writer) writer->end();
  for (const Stream stream : {Stream::Out, Stream::Err}) {
    tasks[static_cast<int>(stream)].end();
    channel->close(stream);
  }
  lock.lock();
}

void AppCore::closeStreams(Milliseconds budget) {
  std::unique_lock<std::mutex> lock(mutex);
  if (fAbandoned) return;
  fStreams = {};
  endStreams(lock);
  input.reset();
  const Time until = Clock::now() + budget;
  while (!streamsDone() && waitUntil(fStreamsChanged, lock, until)) {
  }
}

}  // namespace nkutil
