#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "Support.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

TEST(ConsoleAppLinux, ProcessHeldByATracerHoldsNobody) {
  const Leftovers before = countLeftovers();
  LaunchError error;
  auto victim = systemLauncher().launch(zoo({"sleep"}), in(10000), error);
  ASSERT_TRUE(victim) << error.message();
  auto tracer =
      systemLauncher().launch(zoo({"trace", std::to_string(victim->id())}), in(10000), error);
  Line line;
  ASSERT_EQ(tracer->nextLine(line, in(10000)), Channel::Taken::Line);
  const Metronome machine;
  const Time begin = Clock::now();
  EXPECT_FALSE(victim->Kill(milliseconds(300)));
  EXPECT_LE(millisecondsBetween(begin, Clock::now()), machine.allow(300 + 50));
  EXPECT_EQ(victim->state(), AppState::Killing);
  EXPECT_EQ(victim->nextLine(line, kForever), Channel::Taken::Closed);
  const Time letGo = Clock::now();
  victim.reset();
  EXPECT_LE(millisecondsBetween(letGo, Clock::now()), machine.allow(100));
  // The tracer's end lets the background reap it.
  EXPECT_TRUE(tracer->Kill(milliseconds(20000)));
  tracer.reset();
  expectNothingLeft(before, "a traced process");
}

/// Wine ends such a process with codes of its own.
TEST(ConsoleAppLinux, StackOverflowIsNamed) {
  EXPECT_EQ(run(zoo({"overflow"})).ending.name(), "SIGSEGV");
}

TEST(ConsoleAppLinux, StoppedProcessIsEnded) {
  const Leftovers before = countLeftovers();
  Command command = zoo({"stop"});
  command.killBudget = milliseconds(20000);
  const RunResult result = run(command, in(1500));
  ASSERT_FALSE(result.error) << result.error->message();
  EXPECT_EQ(result.ending.name(), "SIGKILL");
  EXPECT_TRUE(result.timedOut);
  expectNothingLeft(before, "a stopped process");
}

TEST(ConsoleAppLinux, KeptTreeIsLeftAlone) {
  Command command = zoo({"grandchild-id"});
  command.keepTree = true;
  const Leftovers before = countLeftovers();
  const RunResult result = run(command);
  EXPECT_EQ(result.ending.name(), "exit code 0");
  EXPECT_EQ(countLeftovers().processes, 1);
  EXPECT_EQ(kill(std::stoi(result.out.text), SIGKILL), 0);
  expectNothingLeft(before, "a kept tree");
}

TEST(LaunchLinux, FilesThatAreNoPrograms) {
  char folder[] = "/tmp/nkutil-XXXXXX";
  ASSERT_TRUE(mkdtemp(folder));
  struct File {
    const char* name;
    std::string text;
    mode_t mode;
    int code;
    const char* part;
  };
  std::string foreign(64, '\0');
  foreign.replace(0, 7,
                  "\x7f"
                  "ELF\x02\x01\x01");
  foreign[16] = 2;
  foreign[18] = '\xF3';  // RISC-V
  for (const File& file :
       {File{"text", "hello", 0644, EACCES, "find the program"},
        File{"noformat", "\x01\x02\x03", 0755, ENOEXEC, "execve"},
        File{"foreign", foreign, 0755, ENOEXEC, "execve"},
        File{"script", "#!/no/such/interpreter\n", 0755, ENOENT, "interpreter"}}) {
    const std::string path = std::string(folder) + "/" + file.name;
    std::ofstream(path) << file.text;
    chmod(path.c_str(), file.mode);
    Command command;
    command.program = path;
    const RunResult result = run(command);
    ASSERT_TRUE(result.error) << file.name;
    EXPECT_EQ(result.error->code, file.code) << result.error->message();
    EXPECT_NE(result.error->message().find(file.part), std::string::npos)
        << result.error->message();
    unlink(path.c_str());
  }
  rmdir(folder);
}

TEST(HostsLinux, AreLeftAsTheyWere) {
  for (const char* mode :
       {"ignores-sigchld", "reaps-everything", "closed-streams", "many-descriptors", "untouched"})
    expectHost(mode);
}

}  // namespace

}  // namespace nkutil::test
