#include <algorithm>
#include <new>

#include "nkutil/Lines.h"

namespace nkutil {

bool waitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
               Time deadline) {
  // Some libraries overflow on far moments, and some wait on a clock that can be set: short steps.
  const Time now = Clock::now();
  if (now >= deadline) return false;
  condition.wait_until(lock, std::min(deadline, now + std::chrono::seconds(1)));
  return true;
}

Channel::Channel(std::size_t outCap, std::size_t errCap) : fSides{Side(outCap), Side(errCap)} {}

void Channel::push(Stream stream, std::string_view bytes, Time time) noexcept {
  const std::lock_guard<std::mutex> lock(fMutex);
  Buffer& shared = side(stream).shared;
  try {
    shared.append(bytes, time);
  } catch (const std::bad_alloc&) {
    shared.drop(bytes.size());
  }
  fChanged.notify_all();
}

void Channel::close(Stream stream) {
  const std::lock_guard<std::mutex> lock(fMutex);
  side(stream).closed = true;
  fChanged.notify_all();
}

bool Channel::takeTakenLine(Line& line) {
  // Looking for the earlier line costs a second search: only where both streams have something.
  Buffer& out = fSides[0].taken;
  Buffer& err = fSides[1].taken;
  const bool errFirst = out.empty() || (!err.empty() && err.nextLineTime() < out.nextLineTime());
  const int first = errFirst ? 1 : 0;
  for (const int i : {first, 1 - first}) {
    line.stream = static_cast<Stream>(i);
    if (fSides[i].taken.takeLine(line)) return true;
  }
  return false;
}

bool Channel::pull() {
  bool any = false;
  for (Side& side : fSides) {
    any |= !side.shared.empty();
    side.shared.moveTo(side.taken);
  }
  return any;
}

Channel::Taken Channel::next(Line& line, Time deadline) {
  for (;;) {
    if (takeTakenLine(line)) return Taken::Line;
    std::unique_lock<std::mutex> lock(fMutex);
    while (!pull()) {
      for (const int i : {0, 1}) {
        line.stream = static_cast<Stream>(i);
        if (fSides[i].closed && fSides[i].taken.takeRest(line)) return Taken::Line;
      }
      if (fSides[0].closed && fSides[1].closed) return Taken::Closed;
      if (!waitUntil(fChanged, lock, deadline)) return Taken::Timeout;
    }
  }
}

Buffer::Bytes Channel::takeBytes(Stream stream) {
  {
    const std::lock_guard<std::mutex> lock(fMutex);
    side(stream).shared.moveTo(side(stream).taken);
  }
  return side(stream).taken.takeBytes();
}

}  // namespace nkutil
