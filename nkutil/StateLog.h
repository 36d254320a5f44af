#pragma once

#include <optional>

#include "nkutil/ConsoleApp.h"

namespace nkutil {

/// The states that a program was in, with their times. Pure: what implements ConsoleApp keeps one
/// under its lock. Launching is entered by the constructor.
class StateLog {
 public:
  explicit StateLog(Time launching) { fEntered[0] = launching; }

  /// Ignored unless it goes forward. The end also enters Running, if that had not come.
  void enter(AppState state, Time time);
  /// Asked after settle().
  AppState current() const { return fCurrent; }
  std::optional<Time> entered(AppState state) const { return fEntered[index(state)]; }
  bool ended() const { return fCurrent >= AppState::Finished; }
  /// The state was not entered, and cannot be from here.
  bool missed(AppState state) const;
  /// Enters Running where its time has come.
  void settle(Time now);
  /// When Running comes by itself; kForever when it does not.
  Time runningDue() const;

 private:
  static int index(AppState state) { return static_cast<int>(state); }

  AppState fCurrent = AppState::Launching;
  bool fByteCame = false;
  std::optional<Time> fEntered[7];
};

}  // namespace nkutil
