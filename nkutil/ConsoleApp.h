#pragma once

/// nkutil starts a console program, reads it, knows its state, and gets it back by the deadline
/// whatever it does.
///
///     nkutil::Command command;
///     command.program = "gpuprobe";
///     command.arguments = {"-app=Installer"};
///     const nkutil::RunResult result =
///         nkutil::Run(nkutil::systemLauncher(), command, nkutil::Clock::now() + 30s);
///     if (result.error) complain(result.error->message());
///     else if (result.ending.kind == nkutil::Ending::Kind::Exited) read(result.out.text);
///
/// Run() is one call. Who wants the lines while the program runs launches it and takes them:
///
///     nkutil::LaunchError error;
///     auto app = launcher.launch(command, deadline, error);
///     nkutil::Line line;
///     while (app->nextLine(line, deadline) == nkutil::Channel::Taken::Line) use(line);
///     if (!app->WaitFor(nkutil::AppState::Finished, deadline)) app->Kill(100ms);
///
/// What holds for every program:
/// - One deadline is handed down through start, run, drain and kill. No call waits longer, but for
///   Kill(), which adds its own budget.
/// - The end is the end of the process. Whoever else holds its pipes open costs the drain budget.
/// - A kill takes the whole tree, and what is left of the tree when the program has ended goes,
///   too. Windows: all processes of a job object. Linux: all processes of the session that the
///   program is given, their children, and whatever has the mark of this launch in its environment
///   (variable NKUTIL_TREE; nested launches add to it). Out of reach are a process that left the
///   session, lost its parent and cleared its environment, and on Windows one that a service
///   started on the program's behalf.
/// - A program that the system can't end holds nobody: the kill answers false, one thread waits for
///   it in the background.
/// - The program dies with the host (job object; parent-death signal, for the program itself).
/// - The host keeps its signal handlers, masks, folder, environment and other children. One that
///   ignores SIGCHLD or reaps every child itself learns the state, but not the exit code
///   (Ending::Kind::Unknown).
/// - The program gets its three streams and no other descriptor or handle, default signals, and no
///   window or error dialog. On Windows its ends of the pipes can be inherited for the moment of
///   the start: a CreateProcessW of the host's own that inherits all handles just then has them,
///   too. The error mode is inherited: a host that wants no dialog for a missing DLL sets its own.
///
/// Texts are UTF-8 on both systems; bytes of the streams are kept as they are. Functions throw
/// nothing but std::bad_alloc. Link nkutil and the system's threads.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nkutil/Lines.h"
#include "nkutil/Pipe.h"

namespace nkutil {

using ProcessId = std::uint32_t;

/// What to start, and how. The defaults suit a program that is asked something.
struct Command {
  /// A path, or a name without a separator that is looked for in PATH (Windows adds ".exe"). A
  /// relative path counts from the host's folder.
  std::string program;
  /// Without the program itself, which is put before them.
  std::vector<std::string> arguments;
  /// Variables to set (or, without a value, to remove) in the environment.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment;
  bool inheritEnvironment = true;
  /// Working folder; empty for the host's.
  std::string folder;

  enum class Input {
    Nothing,  ///< the null device: reading is at its end at once
    Host,     ///< the host's own
    Pipe,     ///< see ConsoleApp::write()
  };
  Input input = Input::Nothing;

  struct Output {
    enum class To {
      Capture,  ///< lines and bytes of ConsoleApp
      Sink,     ///< the sink below
      Host,     ///< the host's own stream, untouched and uncounted
      Nothing,  ///< the null device
    };
    To to = To::Capture;
    ByteSink sink;
    /// Bytes that are kept until they are taken; past it the first and the last half are.
    std::size_t cap = std::size_t{4} << 20;
  };
  Output out;
  Output err;

  /// How long the streams may stay open after the program's end.
  Milliseconds drainBudget{200};
  /// How long Run() and the destructor of ConsoleApp try to end the tree.
  Milliseconds killBudget{100};
  /// Leaves processes that the program started alone when it ends by itself. A kill is of the
  /// tree all the same.
  bool keepTree = false;
};

/// Why nothing was started.
struct LaunchError {
  std::string step;  ///< what failed, for example "execve"
  int code = 0;      ///< errno or GetLastError(); 0 where the deadline came
  std::string text;  ///< the system's words
  std::string path;  ///< the program, or the folder

  /// For example "cannot start /opt/probe: execve: Permission denied (13)".
  std::string message() const;
};

/// How a program ended.
struct Ending {
  enum class Kind {
    Unknown,    ///< it has not ended, or the host reaps children itself
    Exited,     ///< `code` is the exit code, also 139 or 259
    Signalled,  ///< `code` is the signal; a kill of ours is kKillSignal on both systems
    Exception,  ///< Windows: `code` is the exception's
  };
  static constexpr std::uint32_t kKillSignal = 9;

  Kind kind = Kind::Unknown;
  std::uint32_t code = 0;

  /// "exit code 3", "SIGSEGV", "0xC0000005 access violation", "unknown".
  std::string name() const;
};

/// States only go forward, in this order. Killing may follow any and ends in Finished or Crashed,
/// or stays.
enum class AppState {
  Launching,  ///< the launch is in progress
  Launched,   ///< the process exists
  Running,    ///< its first byte came, or 50 ms passed, or it ended
  Finishing,  ///< it ended, its streams drain, its tree is ended
  Killing,    ///< Kill() was called before the end
  Finished,   ///< over, with an exit code (or an unknown one)
  Crashed,    ///< over, with a signal or an exception
};

/// A running program. Thread-safe, but that one thread at a time takes lines and bytes, and one
/// writes.
class ConsoleApp {
 public:
  /// Kills the tree (with the budget of the command) if it has not ended.
  virtual ~ConsoleApp() = default;

  /// Belongs to the program until Finished or Crashed: nobody else gets it before.
  virtual ProcessId id() const = 0;
  /// The present state; it may be another when this returns.
  virtual AppState state() const = 0;
  /// When the state was entered, if it was.
  virtual std::optional<Time> entered(AppState state) const = 0;
  /// True once the state was entered, however long ago. False at the deadline, and at once when
  /// the state can no longer come.
  virtual bool WaitFor(AppState state, Time deadline) = 0;
  /// Waits for Finished or Crashed. False at the deadline.
  virtual bool waitForEnd(Time deadline) = 0;
  /// Ends the whole tree. True when the program has ended and nothing of its tree is left; false
  /// when the system could not do that in the budget.
  virtual bool Kill(Milliseconds budget) = 0;
  /// How it ended; kind Unknown before.
  virtual Ending ending() const = 0;
  /// Processes that were ended by us, the program itself included.
  virtual int killedProcesses() const = 0;

  /// The next captured line; see Channel::next(). Closed comes at the end of both streams, the
  /// program's own end may follow it.
  virtual Channel::Taken nextLine(Line& line, Time deadline) = 0;
  /// All captured bytes of the stream that were not taken yet.
  virtual Buffer::Bytes takeBytes(Stream stream) = 0;
  /// Bytes read from the stream so far, those dropped or given to a sink included.
  virtual std::uint64_t bytesRead(Stream stream) const = 0;
  /// The system's code where it failed to read on, so that bytes may be missing; else 0.
  virtual int readError(Stream stream) const = 0;

  /// Writes all bytes to the program's input (Input::Pipe) or answers why not, part of them being
  /// written: Closed where there is no input or nobody reads it, Timeout where nobody did so by the
  /// deadline, Ended once the program is over.
  virtual Transfer write(std::string_view bytes, Time deadline) = 0;
  /// The program reads the end of its input after what was written.
  virtual void closeInput() = 0;

 protected:
  ConsoleApp() = default;
  ConsoleApp(const ConsoleApp&) = delete;
  ConsoleApp& operator=(const ConsoleApp&) = delete;
};

/// Starts programs, and has the clock that their deadlines are of. Implementations: the system's,
/// and ScriptedLauncher for tests of a host. Thread-safe.
class ConsoleAppLauncher {
 public:
  virtual ~ConsoleAppLauncher() = default;
  /// The program, which the caller owns and any thread may let go of. Null when it could not be
  /// started by the deadline: `error` says why, and nothing is left behind.
  virtual std::unique_ptr<ConsoleApp> launch(const Command& command, Time deadline,
                                             LaunchError& error) = 0;
  /// What a deadline is compared with.
  virtual Time now() = 0;
};

/// The launcher of this system (LauncherWin, LauncherLinux). Never destroyed.
ConsoleAppLauncher& systemLauncher();

/// Where the deadline came before Finished or Crashed: whether the program ended by itself before
/// it and the deadline only cut the drain of its streams short. Not where a reader of ours takes
/// longer than a drain may.
bool endedInTime(const ConsoleApp& app, const Command& command, Time deadline);

/// What Run() learnt.
struct RunResult {
  std::optional<LaunchError> error;  ///< set: nothing was started, and nothing else here counts
  Ending ending;
  bool timedOut = false;  ///< it had not ended by itself at the deadline; see endedInTime()
  bool stuck = false;     ///< the kill did not end it all
  int killedProcesses = 0;
  Buffer::Bytes out;
  Buffer::Bytes err;
  std::uint64_t outRead = 0;  ///< bytes read, those dropped included
  std::uint64_t errRead = 0;
  int outError = 0;  ///< see ConsoleApp::readError()
  int errError = 0;
  ProcessId id = 0;
  /// When each state was entered, by AppState.
  std::optional<Time> entered[7];
};

/// Launches the program, reads both streams, waits for the end, and kills the tree at the
/// deadline. Returns by then, or later by the command's kill budget. Any thread, several at a time;
/// nothing of the result is shared.
RunResult Run(ConsoleAppLauncher& launcher, const Command& command, Time deadline);

}  // namespace nkutil
