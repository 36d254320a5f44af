#include "tests/nkutil/Support.h"

#include <gtest/gtest.h>

namespace nkutil::test {

Command zoo(std::vector<std::string> arguments) {
  Command command;
  command.program = ownPath();
  command.program.replace(command.program.rfind("nkutil_tests"), 12, "zoo");
  command.arguments = std::move(arguments);
  return command;
}

std::unique_ptr<ConsoleApp> launch(const Command& command) {
  LaunchError error;
  auto app = systemLauncher().launch(command, in(kEnough), error);
  EXPECT_TRUE(app) << error.message();
  return app;
}

bool runsOnOwnStreams() {
  Command command = zoo({"copy"});
  command.input = Command::Input::Host;
  command.err.to = Command::Output::To::Host;
  return run(command).ending.name() == "exit code 0" && run(zoo({"say", "x"})).out.text == "x";
}

NothingLeft::~NothingLeft() {
  const Time deadline = in(5000);
  while ((zooProcesses() > 0 || openHandles() > fHandles) && Clock::now() < deadline)
    std::this_thread::sleep_for(Milliseconds(5));
  EXPECT_EQ(zooProcesses(), 0);
  EXPECT_LE(openHandles(), fHandles);
}

}  // namespace nkutil::test

int main(int count, char** values) {
  testing::InitGoogleTest(&count, values);
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, not a copy of this one
  return RUN_ALL_TESTS();
}
