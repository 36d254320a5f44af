#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>
#include <tuple>

#include "log/Clock.h"
#include "log/LogPort.h"
#include "log/LogPrefix.h"
#include "log/Loggers.h"

namespace fs = boost::filesystem;

namespace {

std::string contents(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path.string()).rdbuf();
  return text.str();
}

void setZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

// A home folder of its own for each test.
class LogFiles : public testing::Test {
 protected:
  LogFiles() {
    fs::create_directories(home);
    setenv("HOME", home.c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
  }
  ~LogFiles() override {
    setenv("HOME", oldHome.c_str(), 1);
    fs::remove_all(home);
  }

  const std::string oldHome = std::getenv("HOME") ? std::getenv("HOME") : "/";
  const fs::path home = fs::temp_directory_path() / fs::unique_path("gpuprobe-%%%%%%%%");
  const fs::path file = home / "nklog.txt";
};

using LogFilesDeathTest = LogFiles;

}  // namespace

TEST_F(LogFiles, FirstLoggerOfAPathStartsAFreshFile) {
  std::ofstream(file.string()) << "of an earlier run\n";
  {
    NKFileLogger first;
    EXPECT_FALSE(fs::exists(file));
    first.setFlags(0);
    first.log("f", 1, "one");
    EXPECT_EQ(contents(file), "one\n");
    NKFileLogger second;
    second.setFlags(0);
    second.log("f", 1, "two");
    second.write("end", 3);
  }
  EXPECT_EQ(contents(file), "one\nActivating new logger nklog.txt\ntwo\nend");
}

TEST_F(LogFiles, EmptyOrUnwritableFiles) {
  { const NKFileLogger unused; }
  EXPECT_FALSE(fs::exists(file));
  {
    const NKFileLogger logger;
    std::ofstream(file.string()).flush();
  }
  EXPECT_FALSE(fs::exists(file));
  fs::create_directories(file / "in the way");
  NKFileLogger blocked;
  blocked.setFlags(0);
  blocked.log("f", 1, "dropped");
  fs::remove_all(file);
  blocked.log("f", 1, "kept");
  EXPECT_EQ(contents(file), "kept\n");
}

TEST_F(LogFiles, DesktopFolder) {
  EXPECT_EQ(logport::desktopFolder(), home);
  fs::create_directories(home / "Desktop");
  EXPECT_EQ(logport::desktopFolder(), home / "Desktop");
  for (const char* folder : {".config", "a \"b"}) fs::create_directories(home / folder);
  const std::pair<const char*, fs::path> cases[] = {{R"("$HOME/a \"b")", home / "a \"b"},
                                                    {R"("$HOME/missing")", home / "Desktop"},
                                                    {"unquoted", home / "Desktop"}};
  for (const auto& [value, folder] : cases) {
    std::ofstream((home / ".config/user-dirs.dirs").string())
        << "# XDG_DESKTOP_DIR=\"/\"\nXDG_MUSIC_DIR=\"/\"\n  XDG_DESKTOP_DIR=" << value << "\n";
    EXPECT_EQ(logport::desktopFolder(), folder);
  }
}

// In a process of its own, because the default logger stays.
TEST_F(LogFilesDeathTest, DefaultLoggerIsTheFile) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto isFile = [this] {
    currentLogger()->setFlags(0);
    currentLogger()->log("f", 1, "no logger installed");
    const SnifferLogger above(nullptr);
    const std::string written = contents(file);
    fs::remove_all(home);
    return above.previous() && above.previous()->name() == "nklog.txt" &&
           written == "no logger installed\nActivating new logger FILE*\n";
  };
  EXPECT_EXIT(std::exit(isFile() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(SingleLineLoggerDeathTest, NeedsALoggerBeneath) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto throws = [] {
    auto beneath = std::make_unique<SnifferLogger>(nullptr);
    try {
      SingleLineLogger joined;
      beneath.reset();
      joined.log("f", 1, "text");
      return false;
    } catch (const std::exception& e) {
      return std::string(e.what()) == "Stackable: nullptr";
    }
  };
  EXPECT_EXIT(std::exit(throws() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(ClockOfZones, KnownInstants) {
  const std::tuple<const char*, std::int64_t, const char*> cases[] = {
      {"UTC0", 0, "1970-01-01 00:00:00.000"},
      {"UTC0", -1000, "1969-12-31 23:59:59.999"},
      {"UTC0", 1582934400000000, "2020-02-29 00:00:00.000"},
      {"IST-5:30", 1794678303125000, "2026-11-14 23:15:03.125"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1774745999999000, "2026-03-29 01:59:59.999"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1774746000000000, "2026-03-29 03:00:00.000"},
      {"EST5", 1767225600000000, "2025-12-31 19:00:00.000"},
  };
  for (const auto& [zone, micros, text] : cases) {
    setZone(zone);
    EXPECT_EQ(formatTimeStamp(localTimeOfUtc(micros)), text) << zone;
  }
  setZone("UTC0");
  EXPECT_NEAR(localTimeOfClock(epochClockSeconds() + 61.25).seconds, 1.25, 1e-6);
  unsetenv("TZ");
  tzset();
}

TEST(ThreadName, MainThreadHasTheProcessId) {
  EXPECT_EQ(threadIdText(static_cast<std::uint64_t>(getpid())), threadName());
}
