#pragma once

#include <condition_variable>
#include <mutex>

#include "nkutil/Child.h"
#include "nkutil/StateLog.h"

namespace nkutil {

/// What the app, its keeper thread and its reading threads share.
class AppCore : public std::enable_shared_from_this<AppCore> {
 public:
  explicit AppCore(const Command& command);

  /// Makes the pipes.
  std::optional<LaunchError> open();
  /// Starts the reading threads, while the keeper starts the process. The keeper goes no further
  /// before this has returned.
  std::optional<LaunchError> startReading();
  /// The keeper: starts the process, waits for it, ends what is left of its tree. The thread lives
  /// as long as the process: Linux ends a child whose parent-death signal is set when the thread
  /// that started it goes.
  void keep();
  /// Waits for keep() to have started the process; the error otherwise.
  std::optional<LaunchError> awaitLaunch(Time deadline);
  bool kill(Milliseconds budget);
  /// Ends the reading and writing, and waits until nothing of it is left, for the budget at most.
  void closeStreams(Milliseconds budget);

  const Command command;
  const std::unique_ptr<Child> child = makeChild();
  const std::shared_ptr<Channel> channel;
  OutputTask tasks[2];

  std::mutex mutex;
  // A thread is woken for what it waits for, and no other: a launch is a matter of few turns.
  std::condition_variable changed;  ///< the state
  std::condition_variable over;     ///< the last state came
  // All under the mutex from here on.
  StateLog log{Clock::now()};
  Ending ending;
  std::shared_ptr<Writer> input;
  bool keeperDone = false;

 private:
  std::optional<LaunchError> openOutput(Stream stream);
  bool startTask(Stream stream, int& error);
  void drain();
  void sweepUntilGone(std::unique_lock<std::mutex>& lock);
  void endStreams(std::unique_lock<std::mutex>& lock);
  bool killing() const { return log.current() == AppState::Killing; }
  bool streamsDone() const { return fStreamDone[0] && fStreamDone[1]; }

  ChildStreams fStreams;  ///< until the keeper hands them to the child
  std::optional<LaunchError> fError;
  bool fLaunchOver = false;
  bool fAbandoned = false;  ///< nobody waits for the launch any more
  Handle fReading[2];       ///< our ends, until their threads have them
  std::condition_variable fStreamsChanged;
  bool fReadingStarted = false;
  bool fStreamDone[2] = {true, true};
  int fLeft = 0;  ///< processes of the tree that could not be ended
  Time fKillUntil = Time::min();
  Time fDrainUntil = Time::min();  ///< a kill waits for the streams up to here, for the rest after
};

/// Starts processes of the system.
class SystemLauncher : public ConsoleAppLauncher {
 public:
  std::unique_ptr<ConsoleApp> launch(const Command& command, Time deadline,
                                     LaunchError& error) override;
  Time now() override { return Clock::now(); }
};

#ifdef _WIN32
using LauncherWin = SystemLauncher;
#else
using LauncherLinux = SystemLauncher;
#endif

}  // namespace nkutil
