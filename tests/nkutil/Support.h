#pragma once

#include <atomic>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "nkutil/ConsoleApp.h"

namespace nkutil::test {

std::string ownPath();
/// The zoo beside this program.
Command zoo(std::vector<std::string> arguments);
inline Time in(int milliseconds) {
  return Clock::now() + Milliseconds(milliseconds);
}
/// Run() on this system, by default with a deadline that no right run comes near.
inline RunResult run(const Command& command, Time deadline = in(60000)) {
  return nkutil::Run(systemLauncher(), command, deadline);
}
/// Launches on this system; expects that all is well.
std::unique_ptr<ConsoleApp> launch(const Command& command);
/// Whether programs run with the host's own input and errors, and without.
bool runsOnOwnStreams();
inline double millisecondsSince(Time from, Time to = Clock::now()) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

constexpr int kEnough = 60000;
constexpr int kShort = 3000;            // a start under a tool on a busy machine takes its time
constexpr int kLonger = 6000;           // and so does what the program writes first
constexpr Milliseconds kSurely{20000};  ///< a kill budget, for tests of something else

/// One mode of the zoo and what is to come of it.
struct Row {
  std::vector<std::string> arguments;
  int deadline;  ///< milliseconds; the program ends by itself before it, or is killed at it
  std::string ending;
  std::uint64_t out = 0;  ///< bytes read from it
  int killedAtLeast = 0;
};
inline void PrintTo(const Row& row, std::ostream* out) {
  *out << row.arguments[0];
}
/// A start that fails, and a part of its message.
struct BadStart {
  std::string program;
  std::string part;
  std::string folder{};
  std::string file{};  ///< what the program's file is made to hold, if it is to be made
  bool executable = true;
};
/// Those that differ between the systems.
std::vector<Row> systemRows();
std::vector<BadStart> systemBadStarts();
/// Codes that its calls are made to fail with.
extern const std::vector<int> kFaultCodes;

/// Descriptors or handles that are open here.
int openHandles();
/// Processes of the zoo that came of this program, zombies included.
int zooProcesses();

/// Expects at its end that nothing is left of what was started meanwhile; waits a moment for what
/// the system does after the fact (a process of another parent goes).
class NothingLeft {
 public:
  ~NothingLeft();

 private:
  const int fHandles = openHandles();
};

/// How late this machine runs a thread that asked for a time, while it lives: what is late for the
/// same reason is no fault of ours.
class Metronome {
 public:
  ~Metronome() { fStop = true, fThread.join(); }
  /// A limit in milliseconds, with the lateness seen so far. A kill is a dozen turns between
  /// threads and processes, each as late as the beat may be.
  double allow(double limit) const { return limit + 12 * fWorst; }

 private:
  std::atomic<bool> fStop{false};
  std::atomic<double> fWorst{0};
  std::thread fThread{[this] {
    for (Time due{}; !fStop; fWorst = std::max<double>(fWorst, millisecondsSince(due)))
      std::this_thread::sleep_until(due = in(2));
  }};
};

}  // namespace nkutil::test
