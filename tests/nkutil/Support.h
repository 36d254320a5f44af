#pragma once

#include <atomic>
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
double millisecondsBetween(Time from, Time to);

/// Set for this program and all that comes of it.
constexpr const char* kRunVariable = "NKUTIL_TEST_RUN";

/// What a launch may leave behind.
struct Leftovers {
  int handles = 0;    ///< descriptors or handles that are open here
  int processes = 0;  ///< of the zoo, zombies included
  long residentKiB = 0;
};
Leftovers countLeftovers();
/// Marks this program, unless it is a host that was started by one with the mark.
void markRun();
/// Waits a moment for what the system does after the fact (a process of another parent goes).
void expectNothingLeft(const Leftovers& before, const std::string& where);

/// How late this machine runs a thread that asked for a time, while it lives: what is late for the
/// same reason is no fault of ours.
class Metronome {
 public:
  Metronome();
  ~Metronome();
  /// A limit in milliseconds, with the lateness seen so far.
  double allow(double limit) const;

 private:
  std::atomic<bool> fStop{false};
  std::atomic<double> fWorst{0};
  std::thread fThread;
};

/// What this program does when it is started as a host: an exit code, 0 when all is well.
int runHost(const std::string& mode);
/// The same in a process of its own; expects that all is well.
void expectHost(const std::string& mode);

}  // namespace nkutil::test
