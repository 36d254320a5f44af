#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>

#include "nkutil/Calls.h"
#include "nkutil/Child.h"
#include "nkutil/Spawn_win.h"

namespace nkutil {

namespace {

/// The exit code of what we end, so that it is known from a program that ended by itself.
constexpr UINT kKilled = 0x6E6B0009;

class ChildWin : public Child {
 public:
  std::optional<LaunchError> start(const Command& command, ChildStreams streams) override;
  ProcessId id() const override { return fId; }
  void awaitEnd() override;
  int sweep() override;
  void ignoreThread(std::uint32_t /*number*/) override {}
  int killed() const override;
  Ending reap(bool keepTree) override;

 private:
  /// None: the system doesn't tell.
  std::optional<int> activeProcesses() const;
  static bool isRunning(HANDLE process) { return WaitForSingleObject(process, 0) != WAIT_OBJECT_0; }

  std::atomic<ProcessId> fId{0};
  Spawned fStarted;
  mutable std::mutex fMutex;
  // Under the mutex:
  bool fReaped = false;
  int fKilled = 0;
  bool fCountedItself = false;  ///< the process is one of fKilled
};

std::optional<LaunchError> ChildWin::start(const Command& command, ChildStreams streams) {
  LaunchError error;
  const std::lock_guard<std::mutex> lock(fMutex);
  if (!spawn(command, streams, fStarted, error)) return error;
  fId = GetProcessId(fStarted.process.get());
  return std::nullopt;
}

void ChildWin::awaitEnd() {
  const auto wait = [this] { return WaitForSingleObject(fStarted.process.get(), INFINITE); };
  while (systemCall(Call::WaitProcess, WAIT_FAILED, wait) != WAIT_OBJECT_0) Sleep(1);
}

std::optional<int> ChildWin::activeProcesses() const {
  std::array<ULONG_PTR, 1024> memory{};
  const auto present = reinterpret_cast<JOBOBJECT_BASIC_PROCESS_ID_LIST*>(memory.data());
  const auto size = static_cast<DWORD>(memory.size() * sizeof memory[0]);
  const BOOL known = systemCall(Call::QueryJob, FALSE, [&] {
    return QueryInformationJobObject(fStarted.job.get(), JobObjectBasicProcessIdList, present, size,
                                     nullptr);
  });
  if (!known && GetLastError() == ERROR_MORE_DATA)
    return static_cast<int>(present->NumberOfAssignedProcesses);
  if (!known) return std::nullopt;
  // Wine lists a process for ever whose creator was ended before it had a thread.
  const ULONG_PTR* const ids = present->ProcessIdList;
  return static_cast<int>(
      std::count_if(ids, ids + present->NumberOfProcessIdsInList, [](ULONG_PTR id) {
        const WinHandle process(OpenProcess(SYNCHRONIZE, FALSE, static_cast<DWORD>(id)));
        return process && isRunning(process.get());
      }));
}

int ChildWin::sweep() {
  const std::lock_guard<std::mutex> lock(fMutex);
  if (fReaped || !fStarted.process) return 0;
  const std::optional<int> active = activeProcesses();
  if (active == 0) return 0;
  if (fKilled == 0) {
    fCountedItself = isRunning(fStarted.process.get());
    fKilled = active.value_or(fCountedItself ? 1 : 0);
  }
  const BOOL ended = systemCall(Call::Kill, FALSE,
                                [this] { return TerminateJobObject(fStarted.job.get(), kKilled); });
  if (!ended) TerminateProcess(fStarted.process.get(), kKilled);
  return active.value_or(1);  // not known to be gone, so that it is looked at again
}

int ChildWin::killed() const {
  const std::lock_guard<std::mutex> lock(fMutex);
  return fKilled;
}

bool isException(DWORD code) {
  constexpr DWORD kCppException = 0xE06D7363;
  constexpr DWORD kClrException = 0xE0434352;
  const DWORD group = code & 0xFFFF0000;
  return group == 0xC0000000 || (group == 0x80000000 && code != group) || code == kCppException ||
         code == kClrException;
}

Ending ChildWin::reap(bool keepTree) {
  const std::lock_guard<std::mutex> lock(fMutex);
  fReaped = true;
  Ending how;
  DWORD code = 0;
  if (GetExitCodeProcess(fStarted.process.get(), &code)) {
    how.kind = isException(code) ? Ending::Kind::Exception : Ending::Kind::Exited;
    how.code = code;
  }
  if (fKilled > 0 && code == kKilled)
    how = {Ending::Kind::Signalled, Ending::kKillSignal};
  else if (fCountedItself)
    --fKilled;  // it ended by itself while it was about to be ended
  if (keepTree) limitJob(fStarted.job.get(), false);
  fStarted = {};
  return how;
}

}  // namespace

std::unique_ptr<Child> makeChild() {
  return std::make_unique<ChildWin>();
}

}  // namespace nkutil
