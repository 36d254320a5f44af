#include "Support.h"

#include <gtest/gtest.h>

namespace nkutil::test {

using std::chrono::milliseconds;

Command zoo(std::vector<std::string> arguments) {
  const std::string own = ownPath();
  Command command;
  command.program = own.substr(0, own.find_last_of("/\\") + 1) + "zoo" +
                    (own.find(".exe") == std::string::npos ? "" : ".exe");
  command.arguments = std::move(arguments);
  return command;
}

Time in(int ms) {
  return Clock::now() + milliseconds(ms);
}

RunResult run(const Command& command, Time deadline) {
  return nkutil::Run(systemLauncher(), command, deadline);
}

double millisecondsBetween(Time from, Time to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

void expectNothingLeft(const Leftovers& before, const std::string& where) {
  const Time deadline = in(5000);
  Leftovers now = countLeftovers();
  while ((now.processes > 0 || now.handles > before.handles) && Clock::now() < deadline) {
    std::this_thread::sleep_for(milliseconds(5));
    now = countLeftovers();
  }
  EXPECT_EQ(now.processes, 0) << where;
  EXPECT_LE(now.handles, before.handles) << where;
}

Metronome::Metronome()
    : fThread([this] {
        constexpr milliseconds kBeat{2};
        while (!fStop) {
          const Time due = Clock::now() + kBeat;
          std::this_thread::sleep_until(due);
          const double late = millisecondsBetween(due, Clock::now());
          if (late > fWorst) fWorst = late;
        }
      }) {}

Metronome::~Metronome() {
  fStop = true;
  fThread.join();
}

double Metronome::allow(double limit) const {
  // A kill is a dozen turns between threads and processes, each as late as the beat may be.
  constexpr double kTurns = 12;
  return limit + kTurns * fWorst;
}

void expectHost(const std::string& mode) {
  Command command;
  command.program = ownPath();
  command.arguments = {"--host", mode};
  const RunResult result = run(command);
  ASSERT_FALSE(result.error) << result.error->message();
  EXPECT_EQ(result.ending.name(), "exit code 0") << mode << ": " << result.err.text;
}

}  // namespace nkutil::test

int main(int count, char** values) {
  nkutil::test::markRun();
  if (count == 3 && std::string(values[1]) == "--host") return nkutil::test::runHost(values[2]);
  testing::InitGoogleTest(&count, values);
  return RUN_ALL_TESTS();
}
