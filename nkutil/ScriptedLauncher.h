#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "nkutil/ConsoleApp.h"

namespace nkutil {

/// What a scripted program does. Times count from its launch.
struct Script {
  struct Output {
    Milliseconds at{0};
    Stream stream = Stream::Out;
    std::string bytes;
  };
  /// Set: it cannot be started.
  std::optional<LaunchError> error;
  Milliseconds launchTakes{0};
  std::vector<Output> output;  ///< in the order of their times
  /// Without it the program runs until it is killed.
  std::optional<Milliseconds> endsAt;
  Ending ending{Ending::Kind::Exited, 0};
  /// Its streams stay open for the whole drain budget, as with a grandchild that holds them.
  bool heldOpen = false;
  Milliseconds killTakes{1};
  bool stuck = false;  ///< no kill ends it
};

/// Plays scripts instead of starting processes, so that a host tests its own code. Time is played,
/// too: waiting moves the clock to the next event or the deadline at once, so a program that hangs
/// for a minute costs a test nothing, and every run is the same. The clock moves in waits only. Its
/// apps behave by the contract of ConsoleApp. One thread; apps must not outlive their launcher.
class ScriptedLauncher : public ConsoleAppLauncher {
 public:
  /// The scripts are played in turn; past the last one a launch fails with "no script is left".
  explicit ScriptedLauncher(std::vector<Script> scripts);
  /// The script of each launch is chosen by its command: a program that obeys its environment.
  explicit ScriptedLauncher(std::function<Script(const Command&)> choose);

  std::unique_ptr<ConsoleApp> launch(const Command& command, Time deadline,
                                     LaunchError& error) override;
  Time now() override { return fNow; }
  /// Never back.
  void moveTo(Time time);

  /// Every command that was to be launched.
  const std::vector<Command>& commands() const { return fCommands; }
  /// What the programs were given to read, by launch.
  const std::vector<std::string>& inputs() const { return fInputs; }
  std::string& input(std::size_t launch) { return fInputs[launch]; }

 private:
  std::function<Script(const Command&)> fChoose;
  std::vector<Command> fCommands;
  std::vector<std::string> fInputs;
  Time fNow = Clock::now();
};

}  // namespace nkutil
