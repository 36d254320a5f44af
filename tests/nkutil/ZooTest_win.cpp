#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shellapi.h>

#include <random>

#include "Support.h"
#include "nkutil/Calls.h"
#include "nkutil/CommandLine.h"
#include "nkutil/Text_win.h"

namespace nkutil::test {

namespace {

using std::chrono::milliseconds;

std::vector<std::string> randomArguments(std::mt19937& random) {
  const std::vector<std::string> pieces = {"\"", "\\", " ", "\t", "a",        "*",  "?",
                                           "'",  "%",  "^", "&",  "\xC3\xA4", "\n", ""};
  std::vector<std::string> all(1 + random() % 5);
  for (std::string& each : all)
    for (auto i = random() % 8; i > 0; --i) each += pieces[random() % pieces.size()];
  return all;
}

TEST(ArgumentsWin, ComeBackExactly) {
  std::mt19937 random(20261121);  // NOLINT(cert-msc51-cpp): the same cases every time
  for (int round = 0; round < 20000; ++round) {
    const std::vector<std::string> given = randomArguments(random);
    int count = 0;
    wchar_t** const back = CommandLineToArgvW(
        toWide(windowsCommandLine("C:\\some folder\\zoo.exe", given))->c_str(), &count);
    std::vector<std::string> got;
    for (int i = 1; i < count; ++i) got.push_back(toUtf8(back[i]));
    LocalFree(back);
    ASSERT_EQ(got, given) << round;
  }
  // And through the C runtime, in a process.
  for (int round = 0; round < 20; ++round) {
    std::vector<std::string> given{"arguments"};
    while (given.size() < 100)
      for (std::string& each : randomArguments(random)) given.push_back(each);
    std::string expected;
    for (std::size_t i = 1; i < given.size(); ++i) expected += given[i] + '\0';
    ASSERT_EQ(run(zoo(given)).out.text, expected) << round;
  }
}

TEST(LaunchWin, ProgramOnALongPath) {
  std::string folder = ownPath();
  folder.resize(folder.find_last_of('\\') + 1);
  folder += "long";
  std::vector<std::string> made;
  for (int i = 0; i < 6; ++i) {
    made.push_back("\\\\?\\" + folder);
    CreateDirectoryW(toWide(made.back())->c_str(), nullptr);
    folder += "\\" + std::string(50, 'd') + "\xC3\xA4";
  }
  const std::string copy = made.back() + "\\zoo.exe";
  ASSERT_TRUE(CopyFileW(toWide(zoo({}).program)->c_str(), toWide(copy)->c_str(), FALSE));
  Command command = zoo({"say", "x"});
  command.program = copy.substr(4);
  ASSERT_GT(command.program.size(), 260U);
  const RunResult result = run(command);
  DeleteFileW(toWide(copy)->c_str());
  for (; !made.empty(); made.pop_back()) RemoveDirectoryW(toWide(made.back())->c_str());
  // Wine 8 finds the file, but starts none on such a path.
  if (result.error && result.error->step == "CreateProcessW")
    GTEST_SKIP() << result.error->message();
  EXPECT_FALSE(result.error);
  EXPECT_EQ(result.out.text, "x");
}

TEST(LaunchWin, SuspendedWhereTheJobListIsRefused) {
  setCallFault([](Call call) { return call == Call::JobList ? int{ERROR_NOT_SUPPORTED} : 0; });
  const Leftovers before = countLeftovers();
  Command command = zoo({"grandchild"});
  const RunResult result = run(command);
  setCallFault(nullptr);
  EXPECT_EQ(result.ending.name(), "exit code 0");
  EXPECT_EQ(result.out.text, "x");
  EXPECT_GE(result.killedProcesses, 1);
  expectNothingLeft(before, "a suspended start");
}

TEST(LaunchWin, BatchFilesAreRefused) {
  Command command;
  command.program = ownPath() + ".bat";
  const HANDLE file =
      CreateFileA(command.program.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
  CloseHandle(file);
  EXPECT_TRUE(run(command).error);
  DeleteFileA(command.program.c_str());
}

TEST(HostsWin, HostWithoutStandardHandles) {
  expectHost("has-no-streams");
}

}  // namespace

}  // namespace nkutil::test
