#include <algorithm>
#include <chrono>

#include "gpureport/Columns.h"
#include "gpureport/CommandLine.h"
#include "gpureport/ExitCode.h"
#include "gpureport/JsonForms.h"
#include "gpureport/Platform.h"

namespace gpureport {

namespace {

using nkutil::Ending;
using Status = GuardRun::Status;

/// How often a wait looks whether it was interrupted.
constexpr nkutil::Milliseconds kNextLook{100};
/// For the kill of the tree at the deadline. A busy machine takes more than half a second to let a
/// tree end; only what can't be ended takes all of it.
constexpr nkutil::Milliseconds kKillBudget{2000};
/// As a shell tells of a program that Ctrl-C ended.
constexpr int kInterrupted = 130;

/// Without a verdict to count for, the program has our own streams, a terminal included.
nkutil::Command commandOf(const GuardOptions& options) {
  using To = nkutil::Command::Output::To;
  nkutil::Command command;
  command.program = options.program;
  command.arguments = options.arguments;
  command.input = nkutil::Command::Input::Host;
  command.keepTree = options.keepTree;
  command.killBudget = kKillBudget;
  const To to = options.verdict.empty() ? To::Host : To::Sink;
  command.out.to = to;
  command.err.to = to;
  command.out.sink = [](std::string_view bytes, nkutil::Time) {
    return WriteBytes(StandardStream::Out, bytes);
  };
  command.err.sink = [](std::string_view bytes, nkutil::Time) {
    return WriteBytes(StandardStream::Err, bytes);
  };
  return command;
}

/// Waits for the end, kills at the deadline or an interruption.
void watch(nkutil::ConsoleApp& app, const nkutil::Command& command, nkutil::Time deadline,
           GuardRun& run) {
  const std::atomic<bool>& interrupted = WatchInterrupts();
  bool over = false;
  while (!over && !interrupted && nkutil::Clock::now() < deadline)
    over = app.waitForEnd(std::min(deadline, nkutil::Clock::now() + kNextLook));
  if (!over) {
    run.interrupted = interrupted;
    const bool ended = app.Kill(kKillBudget);
    over = ended && !run.interrupted && nkutil::endedInTime(app, command, deadline);
    run.status = !ended ? Status::Stuck : over || run.interrupted ? Status::Finished : Status::Hung;
  }
  run.ending = app.ending();
  if (over && run.ending.kind != Ending::Kind::Exited) run.status = Status::Crashed;
}

int codeOf(const nkutil::LaunchError& error, GuardRun& run) {
  run.status = Status::FailedToStart;
  run.startError = error.message();
  const char* const theirs[] = {"find the program", "execve", "CreateProcessW",
                                "start a batch file"};
  const auto begins = [&](const char* step) { return error.step.rfind(step, 0) == 0; };
  if (std::none_of(std::begin(theirs), std::end(theirs), begins)) return kGuardFailure;
  // ENOENT, of a script's interpreter, too, and ERROR_FILE_NOT_FOUND are 2, ERROR_PATH_NOT_FOUND
  // is 3.
  return error.code == 2 || error.code == 3 ? kGuardNotFound : kGuardNotRunnable;
}

int codeOf(const GuardRun& run) {
  if (run.status == Status::Stuck) return kGuardStuck;
  if (run.interrupted) return kInterrupted;
  if (run.status == Status::Hung) return kGuardDeadline;
  if (run.ending.kind == Ending::Kind::Unknown) return kGuardFailure;
  const int code = static_cast<int>(run.ending.code);
  return run.ending.kind == Ending::Kind::Signalled ? 128 + code : code;
}

}  // namespace

int Guard(const GuardOptions& options) {
  const nkutil::Time start = nkutil::Clock::now();
  const nkutil::Time deadline = options.deadline ? start + *options.deadline : nkutil::kForever;
  GuardRun run;
  if (options.deadline)
    run.deadlineSeconds = std::chrono::duration<double>(*options.deadline).count();
  nkutil::LaunchError error;
  const nkutil::Command command = commandOf(options);
  const auto app = nkutil::systemLauncher().launch(command, deadline, error);
  int code = 0;
  if (app) {
    watch(*app, command, deadline, run);
    run.killedProcesses = app->killedProcesses();
    run.outBytes = app->bytesRead(nkutil::Stream::Out);
    run.errBytes = app->bytesRead(nkutil::Stream::Err);
    code = codeOf(run);
  } else {
    code = codeOf(error, run);
    WriteBytes(StandardStream::Err, "gpureport guard: " + Printable(run.startError) + "\n");
  }
  run.durationSeconds = std::chrono::duration<double>(nkutil::Clock::now() - start).count();
  if (options.verdict.empty()) return code;
  const std::string failure = ReplaceFileBy(options.verdict, GuardVerdict(run));
  if (failure.empty()) return code;
  WriteBytes(StandardStream::Err, "gpureport guard: " + failure + "\n");
  return kGuardFailure;
}

}  // namespace gpureport
