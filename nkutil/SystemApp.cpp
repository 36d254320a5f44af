#include "nkutil/SystemApp.h"

#include <algorithm>

#include "nkutil/Calls.h"

namespace nkutil {

namespace {

/// For threads that are at their end, on a machine that is busy.
constexpr Milliseconds kThreadsEnd{1000};

class SystemApp : public ConsoleApp {
 public:
  SystemApp(std::shared_ptr<AppCore> core, std::thread keeper)
      : fCore(std::move(core)), fKeeper(std::move(keeper)) {}
  ~SystemApp() override;

  ProcessId id() const override { return fCore->child->id(); }
  AppState state() const override;
  std::optional<Time> entered(AppState state) const override;
  bool WaitFor(AppState state, Time deadline) override;
  bool waitForEnd(Time deadline) override;
  bool Kill(Milliseconds budget) override { return fCore->kill(budget); }
  Ending ending() const override;
  int killedProcesses() const override { return fCore->child->killed(); }
  Channel::Taken nextLine(Line& line, Time deadline) override {
    return fCore->channel->next(line, deadline);
  }
  Buffer::Bytes takeBytes(Stream stream) override { return fCore->channel->takeBytes(stream); }
  std::uint64_t bytesRead(Stream stream) const override {
    return fCore->tasks[static_cast<int>(stream)].bytesRead();
  }
  int readError(Stream stream) const override {
    return fCore->tasks[static_cast<int>(stream)].error();
  }
  Transfer write(std::string_view bytes, Time deadline) override;
  void closeInput() override;

 private:
  std::shared_ptr<AppCore> fCore;
  std::thread fKeeper;
};

SystemApp::~SystemApp() {
  std::unique_lock<std::mutex> lock(fCore->mutex);
  const AppState last = fCore->log.current();
  lock.unlock();
  if (last != AppState::Launching && last < AppState::Killing)
    fCore->kill(fCore->command.killBudget);
  fCore->closeStreams(kThreadsEnd);
  if (!fKeeper.joinable()) return;
  lock.lock();
  const bool over = fCore->keeperDone;
  lock.unlock();
  if (over)
    fKeeper.join();
  else
    fKeeper.detach();
}

AppState SystemApp::state() const {
  const std::lock_guard<std::mutex> lock(fCore->mutex);
  fCore->log.settle(Clock::now());
  return fCore->log.current();
}

std::optional<Time> SystemApp::entered(AppState state) const {
  const std::lock_guard<std::mutex> lock(fCore->mutex);
  fCore->log.settle(Clock::now());
  return fCore->log.entered(state);
}

bool SystemApp::WaitFor(AppState state, Time deadline) {
  std::unique_lock<std::mutex> lock(fCore->mutex);
  for (;;) {
    StateLog& log = fCore->log;
    log.settle(Clock::now());
    if (log.entered(state)) return true;
    if (log.missed(state)) return false;
    const Time due = state == AppState::Running ? log.runningDue() : kForever;
    if (!waitUntil(fCore->changed, lock, std::min(deadline, due)) && deadline <= due) return false;
  }
}

bool SystemApp::waitForEnd(Time deadline) {
  std::unique_lock<std::mutex> lock(fCore->mutex);
  while (!fCore->log.ended())
    if (!waitUntil(fCore->over, lock, deadline)) return false;
  return true;
}

Ending SystemApp::ending() const {
  const std::lock_guard<std::mutex> lock(fCore->mutex);
  return fCore->ending;
}

Transfer SystemApp::write(std::string_view bytes, Time deadline) {
  std::unique_lock<std::mutex> lock(fCore->mutex);
  const std::shared_ptr<Writer> input = fCore->input;
  lock.unlock();
  return input ? input->write(bytes, deadline) : Transfer::Closed;
}

void SystemApp::closeInput() {
  const std::lock_guard<std::mutex> lock(fCore->mutex);
  fCore->input.reset();
}

}  // namespace

std::unique_ptr<ConsoleApp> SystemLauncher::launch(const Command& command, Time deadline,
                                                   LaunchError& error) {
  const auto core = std::make_shared<AppCore>(command);
  std::optional<LaunchError> failure = core->open();
  std::thread keeper;
  if (!failure) {
    keeper = startThread([core] { core->keep(); });
    if (!keeper.joinable()) failure = launchError("start a thread", command.program);
  }
  if (!failure) {
    failure = core->startReading();
    std::optional<LaunchError> notStarted = core->awaitLaunch(deadline);
    if (notStarted) failure = std::move(notStarted);
  }
  auto app = std::make_unique<SystemApp>(core, std::move(keeper));
  if (!failure) return app;
  error = std::move(*failure);
  return nullptr;
}

ConsoleAppLauncher& systemLauncher() {
  static SystemLauncher& launcher = *new SystemLauncher;
  return launcher;
}

}  // namespace nkutil
