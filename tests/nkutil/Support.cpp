#include "tests/nkutil/Support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace nkutil::test {

Command host(const std::string& mode) {
  Command command;
  command.program = ownPath();
  command.arguments = {"--host", mode};
  return command;
}

Command zoo(std::vector<std::string> arguments) {
  Command command;
  command.program = ownPath();
  command.program.replace(command.program.rfind("nkutil_tests"), 12, "zoo");
  command.arguments = std::move(arguments);
  return command;
}

Time in(int ms) {
  return Clock::now() + Milliseconds(ms);
}

RunResult run(const Command& command, Time deadline) {
  return nkutil::Run(systemLauncher(), command, deadline);
}

std::unique_ptr<ConsoleApp> launch(const Command& command) {
  LaunchError error;
  auto app = systemLauncher().launch(command, in(kEnough), error);
  EXPECT_TRUE(app) << error.message();
  return app;
}

double millisecondsBetween(Time from, Time to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

void expectNothingLeft(const Leftovers& before, const std::string& where) {
  const Time deadline = in(5000);
  Leftovers now = countLeftovers();
  while ((now.processes > 0 || now.handles > before.handles) && Clock::now() < deadline) {
    std::this_thread::sleep_for(Milliseconds(5));
    now = countLeftovers();
  }
  EXPECT_EQ(now.processes, 0) << where;
  EXPECT_LE(now.handles, before.handles) << where;
}

void Metronome::beat() {
  while (!fStop) {
    const Time due = in(2);
    std::this_thread::sleep_until(due);
    fWorst = std::max<double>(fWorst, millisecondsBetween(due, Clock::now()));
  }
}

namespace {

/// Dies without a word to its child.
int holdAChild() {
  const auto app = launch(zoo({"sleep"}));
  std::puts("holds");
  std::fflush(stdout);
  std::this_thread::sleep_for(Milliseconds(1500));
  std::_Exit(1);
}

}  // namespace

}  // namespace nkutil::test

int main(int count, char** values) {
  nkutil::test::markRun();
  const std::string mode = count == 3 ? values[2] : "";
  if (mode == "holds-a-child") return nkutil::test::holdAChild();
  if (!mode.empty()) return nkutil::test::hostModes().at(mode)();
  testing::InitGoogleTest(&count, values);
  return RUN_ALL_TESTS();
}
