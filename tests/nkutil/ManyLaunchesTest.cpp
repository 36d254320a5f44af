#include <gtest/gtest.h>

#include <cstdlib>

#include "Support.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

/// NKUTIL_LAUNCHES, for tools and systems on which a launch takes long.
int launches() {
  const char* wanted = std::getenv("NKUTIL_LAUNCHES");
  return wanted ? std::atoi(wanted) : 10000;
}

TEST(ManyLaunches, InARowLeakNothing) {
  const auto launch = [] {
    const RunResult result = run(zoo({"say", "x"}));
    EXPECT_EQ(result.out.text, "x");
    EXPECT_EQ(result.ending.name(), "exit code 0");
  };
  for (int i = 0; i < launches() / 10; ++i) launch();
  const Leftovers before = countLeftovers();
  for (int i = 0; i < launches(); ++i) launch();
  expectNothingLeft(before, "many launches");
  // Tools keep memory of their own for each.
  if (!std::getenv("NKUTIL_LAUNCHES")) {
    EXPECT_LE(countLeftovers().residentKiB, before.residentKiB + 1024);
  }
}

TEST(ManyLaunches, AtOnceFromManyThreads) {
  const Leftovers before = countLeftovers();
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([] {
      std::vector<std::unique_ptr<ConsoleApp>> apps;
      for (int k = 0; k < 8; ++k) {
        // A pipe of one that another inherits would stay open as long as the sleepers live.
        Command command = k % 2 == 0 ? zoo({"sleep"}) : zoo({"say", "x\n"});
        command.drainBudget = milliseconds(50000);
        LaunchError error;
        apps.push_back(systemLauncher().launch(command, in(60000), error));
        ASSERT_TRUE(apps.back()) << error.message();
      }
      Line line;
      const Time begin = Clock::now();
      for (int k = 1; k < 8; k += 2) {
        EXPECT_EQ(apps[static_cast<std::size_t>(k)]->nextLine(line, in(60000)),
                  Channel::Taken::Line);
        EXPECT_TRUE(apps[static_cast<std::size_t>(k)]->WaitFor(AppState::Finished, in(60000)));
      }
      EXPECT_LE(millisecondsBetween(begin, Clock::now()), 40000);
      for (const auto& app : apps) EXPECT_TRUE(app->Kill(milliseconds(30000)));
    });
  for (std::thread& thread : threads) thread.join();
  expectNothingLeft(before, "64 at once");
}

}  // namespace

}  // namespace nkutil::test
