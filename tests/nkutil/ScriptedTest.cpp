#include <gtest/gtest.h>

#include "Support.h"
#include "nkutil/ScriptedLauncher.h"

namespace nkutil::test {

namespace {

using namespace std::chrono_literals;

/// What a host might do: lines until one is late, then a kill. The name of the end, and the lines.
std::string supervise(ConsoleAppLauncher& launcher, const Command& command) {
  LaunchError error;
  const auto app = launcher.launch(command, launcher.now() + 5s, error);
  if (!app) return error.message();
  std::string seen;
  Line line;
  for (;;) {
    const Channel::Taken taken = app->nextLine(line, launcher.now() + 2s);
    if (taken == Channel::Taken::Timeout && !app->Kill(100ms)) return seen + "stuck";
    if (taken != Channel::Taken::Line) break;
    seen += line.text + ",";
  }
  app->waitForEnd(launcher.now() + 1s);
  return seen + app->ending().name();
}

TEST(ScriptedLauncher, PlaysEndsHangsAndCrashesInNoTime) {
  Script good;
  good.output = {{10ms, Stream::Out, "a\nb"}, {1900ms, Stream::Err, "c\n"}};
  good.endsAt = 3000ms;
  Script hung;
  hung.output = {{10ms, Stream::Out, "a\n"}};
  Script crash = good;
  crash.ending = {Ending::Kind::Signalled, 11};
  Script stuck = hung;
  stuck.stuck = true;
  Script missing;
  missing.error = LaunchError{"find the program", 2, "No such file", "probe"};
  ScriptedLauncher launcher({good, hung, crash, stuck, missing});
  const Time real = Clock::now();
  EXPECT_EQ(supervise(launcher, {}), "a,c,b,exit code 0");
  EXPECT_EQ(supervise(launcher, {}), "a,SIGKILL");
  EXPECT_EQ(supervise(launcher, {}), "a,c,b,SIGSEGV");
  EXPECT_EQ(supervise(launcher, {}), "a,stuck");
  EXPECT_EQ(supervise(launcher, {}), "cannot start probe: find the program: No such file (2)");
  EXPECT_NE(supervise(launcher, {}).find("no script is left"), std::string::npos);
  EXPECT_LT(millisecondsBetween(real, Clock::now()), 1000);
}

TEST(ScriptedLauncher, StatesTimesAndTheCommandsChoice) {
  ScriptedLauncher launcher([](const Command& command) {
    Script script;
    script.output = {{20ms, Stream::Out, command.environment.empty() ? "asked" : "skipped"}};
    script.endsAt = 100ms;
    script.heldOpen = true;
    return script;
  });
  Command command;
  EXPECT_EQ(nkutil::Run(launcher, command, launcher.now() + 1s).out.text, "asked");
  command.environment = {{"GPUPROBE_SKIP", "OpenGL"}};
  command.input = Command::Input::Pipe;
  const Time begin = launcher.now();
  const RunResult result = nkutil::Run(launcher, command, begin + 1s);
  EXPECT_EQ(result.out.text, "skipped");
  const auto after = [&](AppState state) {
    return millisecondsBetween(begin, result.entered[static_cast<int>(state)].value());
  };
  EXPECT_EQ(after(AppState::Running), 20);
  EXPECT_EQ(after(AppState::Finishing), 100);
  EXPECT_EQ(after(AppState::Finished), 300);  // the drain budget
  const Time late = launcher.now();
  const RunResult killed = nkutil::Run(launcher, command, late + 50ms);
  EXPECT_TRUE(killed.timedOut);
  EXPECT_EQ(killed.killedProcesses, 1);
  EXPECT_EQ(launcher.now(), late + 51ms);
  EXPECT_EQ(launcher.commands().size(), 3U);
}

}  // namespace

}  // namespace nkutil::test
