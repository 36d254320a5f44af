#include "gpureport/Progress.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "gpureport/Columns.h"
#include "gpureport/Platform.h"
#include "nkutil/Lines.h"

namespace gpureport {

namespace {

/// A quick run shows nothing, and no number changes faster than it can be read.
constexpr nkutil::Milliseconds kBeat{250};

}  // namespace

struct Progress::State {
  void run();
  void show(nkutil::Time now);
  void clear();

  int columns = 0;
  std::mutex mutex;
  std::condition_variable changed;
  bool over = false;
  std::string name;
  int attempt = 1;
  nkutil::Time since = nkutil::Clock::now();
  int shown = 0;  ///< columns of the line on the screen
  std::thread thread;
};

void Progress::State::run() {
  std::unique_lock<std::mutex> lock(mutex);
  while (!over) {
    changed.wait_for(lock, kBeat);
    if (!over) show(nkutil::Clock::now());
  }
  clear();
}

void Progress::State::show(nkutil::Time now) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - since).count();
  std::string text = name.empty() ? "starting the probe" : "asking " + Printable(name);
  if (seconds > 0) text += "  " + std::to_string(seconds) + " s";
  if (attempt > 1) text += "  (attempt " + std::to_string(attempt) + ")";
  text.resize(FittingBytes(text, columns - 1));
  clear();
  WriteBytes(StandardStream::Err, text);
  shown = ColumnsOf(text);
}

void Progress::State::clear() {
  if (shown == 0) return;
  WriteBytes(StandardStream::Err, "\r" + std::string(static_cast<std::size_t>(shown), ' ') + "\r");
  shown = 0;
}

Progress::Progress(bool wanted) {
  const int columns = wanted ? TerminalColumns(StandardStream::Err) : 0;
  if (columns < 20) return;
  fState = std::make_unique<State>();
  fState->columns = columns;
  fState->thread = std::thread([state = fState.get()] { state->run(); });
}

Progress::~Progress() {
  if (!fState) return;
  {
    const std::lock_guard<std::mutex> lock(fState->mutex);
    fState->over = true;
  }
  fState->changed.notify_all();
  fState->thread.join();
}

void Progress::asking(const std::string& name, int attempt) {
  if (!fState) return;
  const std::lock_guard<std::mutex> lock(fState->mutex);
  fState->name = name;
  fState->attempt = attempt;
  fState->since = nkutil::Clock::now();
}

}  // namespace gpureport
