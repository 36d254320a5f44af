#include "nkutil/ScriptedLauncher.h"

#include <algorithm>
#include <utility>

#include "nkutil/StateLog.h"

namespace nkutil {

namespace {

constexpr ProcessId kFirstId = 1000;

class ScriptedApp : public ConsoleApp {
 public:
  ScriptedApp(ScriptedLauncher& launcher, const Command& command, Script script, std::size_t launch)
      : fLauncher(launcher),
        fCommand(command),
        fScript(std::move(script)),
        fLaunch(launch),
        fChannel(command.out.cap, command.err.cap),
        fLog(launcher.now()) {}
  ~ScriptedApp() override {
    if (!fLog.ended() && fLog.current() != AppState::Killing) Kill(fCommand.killBudget);
  }

  /// The process exists from now on.
  void begin();

  ProcessId id() const override { return kFirstId + static_cast<ProcessId>(fLaunch); }
  AppState state() const override { return fLog.current(); }
  std::optional<Time> entered(AppState state) const override { return fLog.entered(state); }
  bool WaitFor(AppState state, Time deadline) override;
  bool waitForEnd(Time deadline) override;
  bool Kill(Milliseconds budget) override;
  Ending ending() const override { return fLog.ended() ? fEnding : Ending{}; }
  int killedProcesses() const override { return fKilled; }
  Channel::Taken nextLine(Line& line, Time deadline) override;
  Buffer::Bytes takeBytes(Stream stream) override { return fChannel.takeBytes(stream); }
  std::uint64_t bytesRead(Stream stream) const override { return fRead[static_cast<int>(stream)]; }
  int readError(Stream /*stream*/) const override { return 0; }
  Transfer write(std::string_view bytes, Time deadline) override;
  void closeInput() override { fInputOpen = false; }

 private:
  Time nextEvent() const;
  bool step(Time deadline);
  void deliver(const Script::Output& output);
  void end(Ending how, Time time);
  void closeStreams();
  Time at(Milliseconds after) const { return fBegan + after; }

  ScriptedLauncher& fLauncher;
  const Command fCommand;
  const Script fScript;
  const std::size_t fLaunch;
  Channel fChannel;
  StateLog fLog;
  Ending fEnding;
  Time fBegan{};
  std::size_t fDelivered = 0;
  std::optional<Time> fProcessEnd;
  std::uint64_t fRead[2] = {};
  int fKilled = 0;
  bool fInputOpen = false;
  bool fClosed = false;
  bool fSinkWants[2] = {true, true};
};

void ScriptedApp::begin() {
  fBegan = fLauncher.now();
  fLog.enter(AppState::Launched, fBegan);
  fInputOpen = fCommand.input == Command::Input::Pipe;
}

/// When something happens next; kForever when nothing does.
Time ScriptedApp::nextEvent() const {
  if (fLog.ended() || fLog.current() == AppState::Killing) return kForever;
  if (fProcessEnd)
    return *fProcessEnd + (fScript.heldOpen ? fCommand.drainBudget : Milliseconds{0});
  Time next = fScript.endsAt ? at(*fScript.endsAt) : kForever;
  if (fDelivered < fScript.output.size()) next = std::min(next, at(fScript.output[fDelivered].at));
  return std::min(next, fLog.runningDue());
}

/// Plays the next event if it comes by the deadline; else time passes up to the deadline: false.
bool ScriptedApp::step(Time deadline) {
  const Time next = nextEvent();
  if (next > deadline || next == kForever) {
    fLauncher.moveTo(deadline);
    fLog.settle(fLauncher.now());
    return false;
  }
  fLauncher.moveTo(next);
  const Time now = fLauncher.now();
  if (fProcessEnd) {
    closeStreams();
    end(fScript.ending, now);
  } else if (fDelivered < fScript.output.size() && at(fScript.output[fDelivered].at) <= now) {
    deliver(fScript.output[fDelivered++]);
  } else if (fScript.endsAt && at(*fScript.endsAt) <= now) {
    fProcessEnd = now;
    fLog.enter(AppState::Finishing, now);
  }
  fLog.settle(now);
  return true;
}

void ScriptedApp::deliver(const Script::Output& output) {
  const int index = static_cast<int>(output.stream);
  const Command::Output& to = index == 0 ? fCommand.out : fCommand.err;
  if (to.to == Command::Output::To::Host || to.to == Command::Output::To::Nothing) return;
  const Time now = fLauncher.now();
  fLog.enter(AppState::Running, now);
  fRead[index] += output.bytes.size();
  if (to.to == Command::Output::To::Capture)
    fChannel.push(output.stream, output.bytes, now);
  else if (fSinkWants[index])
    fSinkWants[index] = to.sink(output.bytes, now);
}

void ScriptedApp::closeStreams() {
  fClosed = true;
  fInputOpen = false;
  fChannel.close(Stream::Out);
  fChannel.close(Stream::Err);
}

void ScriptedApp::end(Ending how, Time time) {
  fEnding = how;
  const bool crashed = how.kind == Ending::Kind::Signalled || how.kind == Ending::Kind::Exception;
  fLog.enter(crashed ? AppState::Crashed : AppState::Finished, time);
}

bool ScriptedApp::WaitFor(AppState state, Time deadline) {
  for (;;) {
    fLog.settle(fLauncher.now());
    if (fLog.entered(state)) return true;
    if (fLog.missed(state) || !step(deadline)) return fLog.entered(state).has_value();
  }
}

bool ScriptedApp::waitForEnd(Time deadline) {
  while (!fLog.ended() && step(deadline)) {
  }
  return fLog.ended();
}

bool ScriptedApp::Kill(Milliseconds budget) {
  if (fLog.ended()) return true;
  const Time now = fLauncher.now();
  fLog.enter(AppState::Killing, now);
  const bool ends = !fScript.stuck && fScript.killTakes <= budget;
  fLauncher.moveTo(now + (ends ? fScript.killTakes : budget));
  closeStreams();
  if (!ends) return false;
  fKilled = fProcessEnd ? 0 : 1;
  end(fProcessEnd ? fScript.ending : Ending{Ending::Kind::Signalled, Ending::kKillSignal},
      fLauncher.now());
  return true;
}

Channel::Taken ScriptedApp::nextLine(Line& line, Time deadline) {
  for (;;) {
    // It never waits: what is to come is played below.
    const Channel::Taken taken = fChannel.next(line, Time::min());
    if (taken != Channel::Taken::Timeout || fClosed) return taken;
    if (!step(deadline)) return Channel::Taken::Timeout;
  }
}

Transfer ScriptedApp::write(std::string_view bytes, Time /*deadline*/) {
  if (!fInputOpen) return Transfer::Closed;
  fLauncher.input(fLaunch) += bytes;
  return Transfer::Done;
}

}  // namespace

ScriptedLauncher::ScriptedLauncher(std::vector<Script> scripts)
    : ScriptedLauncher([left = std::move(scripts), next = std::size_t{0}](const Command&) mutable {
        if (next < left.size()) return left[next++];
        Script none;
        none.error = LaunchError{"launch", 0, "no script is left", ""};
        return none;
      }) {}

ScriptedLauncher::ScriptedLauncher(std::function<Script(const Command&)> choose)
    : fChoose(std::move(choose)) {}

void ScriptedLauncher::moveTo(Time time) {
  if (time != kForever) fNow = std::max(fNow, time);
}

std::unique_ptr<ConsoleApp> ScriptedLauncher::launch(const Command& command, Time deadline,
                                                     LaunchError& error) {
  fCommands.push_back(command);
  fInputs.emplace_back();
  Script script = fChoose(command);
  auto app = std::make_unique<ScriptedApp>(*this, command, script, fCommands.size() - 1);
  const Time launched = fNow + script.launchTakes;
  moveTo(std::min(launched, deadline));
  if (!script.error && launched <= deadline) {
    app->begin();
    return app;
  }
  error = script.error.value_or(
      LaunchError{"start", 0, "not started by the deadline", command.program});
  return nullptr;
}

}  // namespace nkutil
