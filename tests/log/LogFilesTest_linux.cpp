#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <tuple>

#include "log/Clock.h"
#include "log/LogPort.h"
#include "log/LogPrefix.h"
#include "log/Loggers.h"
#include "tests/support/SysfsTree.h"

namespace {

// A home folder of its own for each test, in a process that keeps no other.
class LogFiles : public testing::Test {
 protected:
  LogFiles() {
    setenv("HOME", home.root().c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
  }
  ~LogFiles() override { setenv("HOME", oldHome.c_str(), 1); }

  const std::string oldHome = getenv("HOME") ? getenv("HOME") : "/";
  const SysfsTree home;
  const std::filesystem::path file = home.root() / "nklog.txt";
};

}  // namespace

TEST_F(LogFiles, FirstLoggerOfAPathStartsAFreshFile) {
  home.write("nklog.txt", "of an earlier run\n");
  NKFileLogger first;
  EXPECT_FALSE(exists(file));
  first.setFlags(0);
  create_directory(file);
  first.log("f", 1, "cannot be written");
  remove(file);
  first.log("f", 1, "one");
  NKFileLogger second;
  second.write("two", 3);
  second.flush();
  EXPECT_EQ(ReadWholeFile(file), "one\nActivating new logger nklog.txt\ntwo");
}

TEST_F(LogFiles, DesktopFolder) {
  EXPECT_EQ(logport::desktopFolder(), home.root().native());
  for (const char* folder : {"Desktop", ".config", "a \"b"}) create_directory(home.root() / folder);
  const std::pair<std::string, const char*> cases[] = {{R"("$HOME/a \"b")", "a \"b"},
                                                       {R"("$HOME/missing")", "Desktop"}};
  for (const auto& [value, folder] : cases) {
    home.write(".config/user-dirs.dirs", "# XDG_DESKTOP_DIR=\"/\"\n  XDG_DESKTOP_DIR=" + value);
    EXPECT_EQ(logport::desktopFolder(), (home.root() / folder).native());
  }
}

// In a process of its own, because the default logger stays.
TEST_F(LogFiles, DefaultLoggerIsTheFileAndJoiningNeedsOneBeneath) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto run = [this] {
    EXPECT_THROW(SingleLineLogger().log("f", 1, "text"), std::runtime_error);
    currentLogger()->setFlags(0);
    currentLogger()->log("f", 1, "no logger installed");
    std::exit(HasFailure() || ReadWholeFile(file) != "no logger installed\n");
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(ClockOfZones, KnownInstants) {
  const std::tuple<const char*, std::int64_t, const char*> cases[] = {
      {"UTC0", -1000, "1969-12-31 23:59:59.999"},
      {"UTC0", 1582934400000000, "2020-02-29 00:00:00.000"},
      {"IST-5:30", 1794678303125000, "2026-11-14 23:15:03.125"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1774745999999000, "2026-03-29 01:59:59.999"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1774746000000000, "2026-03-29 03:00:00.000"},
  };
  for (const auto& [zone, micros, text] : cases) {
    setenv("TZ", zone, 1);
    tzset();
    EXPECT_EQ(formatTimeStamp(localTimeOfUtc(micros)), text) << zone;
  }
  unsetenv("TZ");
  tzset();
  EXPECT_NEAR(localTimeOfClock(epochClockSeconds() + 61.25).seconds, 1.25, 1e-6);
  EXPECT_EQ(threadIdText(static_cast<std::uint64_t>(getpid())), threadName());
}
