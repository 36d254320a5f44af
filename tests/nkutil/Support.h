#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "nkutil/ConsoleApp.h"

namespace nkutil::test {

/// This program, and the zoo beside it.
std::string ownPath();
Command zoo(std::vector<std::string> arguments);
Time in(int milliseconds);
/// Run() on this system; without a deadline one that no right run comes near.
RunResult run(const Command& command, Time deadline = in(60000));
/// Launches on this system; expects that all is well.
std::unique_ptr<ConsoleApp> launch(const Command& command);
double millisecondsBetween(Time from, Time to);

constexpr int kEnough = 60000;
constexpr int kShort = 1500;            // a start under a tool on a busy machine takes its time
constexpr Milliseconds kSurely{20000};  ///< a kill budget, for tests of something else

/// One mode of the zoo and what is to come of it.
struct Row {
  std::vector<std::string> arguments;
  int deadline;  ///< milliseconds; the program ends by itself before it, or is killed at it
  std::string ending;
  std::uint64_t out = 0;  ///< bytes read from it
  int killedAtLeast = 0;
};
/// Those that differ between the systems.
std::vector<Row> systemRows();
/// Codes that its calls are made to fail with.
std::vector<int> faultCodes();

/// What a launch may leave behind.
struct Leftovers {
  int handles = 0;    ///< descriptors or handles that are open here
  int processes = 0;  ///< of the zoo, zombies included
};
Leftovers countLeftovers();
/// Memory of this program; 0 where it is not known.
long residentKiB();
/// Marks this program, unless it is a host that was started by one with the mark.
void markRun();
/// Waits a moment for what the system does after the fact (a process of another parent goes).
void expectNothingLeft(const Leftovers& before, const std::string& where);

/// How late this machine runs a thread that asked for a time, while it lives: what is late for the
/// same reason is no fault of ours.
class Metronome {
 public:
  ~Metronome() { fStop = true, fThread.join(); }
  /// A limit in milliseconds, with the lateness seen so far. A kill is a dozen turns between
  /// threads and processes, each as late as the beat may be.
  double allow(double limit) const { return limit + 12 * fWorst; }

 private:
  void beat();

  std::atomic<bool> fStop{false};
  std::atomic<double> fWorst{0};
  std::thread fThread{[this] { beat(); }};
};

/// What this program does as a host, by mode: an exit code, 0 when all is well.
const std::map<std::string, std::function<int()>>& hostModes();
/// The command for it.
Command host(const std::string& mode);

}  // namespace nkutil::test
