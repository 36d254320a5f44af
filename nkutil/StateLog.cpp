#include "nkutil/StateLog.h"

namespace nkutil {

namespace {

constexpr Milliseconds kRunningAfter{50};

/// Finished and Crashed are one step.
int rank(AppState state) {
  return state == AppState::Crashed ? static_cast<int>(AppState::Finished)
                                    : static_cast<int>(state);
}

}  // namespace

void StateLog::enter(AppState state, Time time) {
  settle(time);
  // The first byte may be read before the start is known to have gone well.
  if (fCurrent == AppState::Launching && state == AppState::Running) {
    fByteCame = true;
    return;
  }
  if (rank(state) <= rank(fCurrent)) return;
  const bool ends = state == AppState::Finishing || state >= AppState::Finished;
  if (ends && fCurrent == AppState::Launched) enter(AppState::Running, time);
  fCurrent = state;
  fEntered[index(state)] = time;
  if (state == AppState::Launched && fByteCame) enter(AppState::Running, time);
}

bool StateLog::missed(AppState state) const {
  return !entered(state) && rank(state) <= rank(fCurrent);
}

void StateLog::settle(Time now) {
  const Time due = runningDue();
  if (now < due) return;
  fCurrent = AppState::Running;
  fEntered[index(AppState::Running)] = due;
}

Time StateLog::runningDue() const {
  if (fCurrent != AppState::Launched) return kForever;
  return *entered(AppState::Launched) + kRunningAfter;
}

}  // namespace nkutil
