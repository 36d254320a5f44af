#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include <random>

#include "nkutil/Text_win.h"
#include "tests/nkutil/Support.h"

namespace nkutil::test {

std::string ownPath() {
  char path[MAX_PATH];
  return {path, GetModuleFileNameA(nullptr, path, MAX_PATH)};
}

std::vector<Row> systemRows() {
  return {{{"exit", "259"}, kEnough, "exit code 259"},
          {{"raise", "C0000005"}, kEnough, "0xC0000005 access violation"},
          {{"raise", "C0000094"}, kEnough, "0xC0000094 integer divide by zero"},
          {{"abort"}, kEnough, "exit code 3"},  // what Microsoft's C runtime makes of it
          {{"storm", "20"}, 8000, "SIGKILL", 1, 2},
          {{"print", "64"}, kEnough, "exit code 0", 64 << 20}};
}

std::vector<BadStart> systemBadStarts() {
  return {{ownPath() + ".bat", "batch file", "", "exit"},
          {ownPath() + ".txt", "CreateProcessW", "", "hello"}};
}

const std::vector<int> kFaultCodes = {ERROR_NO_SYSTEM_RESOURCES};

int openHandles() {
  DWORD count = 0;
  GetProcessHandleCount(GetCurrentProcess(), &count);
  return static_cast<int>(count);
}

int zooProcesses() {
  int count = 0;
  const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Process32First(all, &entry); more; more = Process32Next(all, &entry))
    if (std::string(entry.szExeFile) == "zoo.exe") ++count;
  CloseHandle(all);
  return count;
}

namespace {

TEST(ArgumentsWin, ComeBackExactly) {
  std::mt19937 random(20261121);  // NOLINT(cert-msc51-cpp): the same cases every time
  const std::string pieces[] = {"\"", "\\", " ", "\t", "a",        "*",
                                "?",  "'",  "%", "^",  "\xC3\xA4", "\n"};
  Command command = zoo({});
  const std::string copy = ownPath() + " zoo.exe";  // a blank in the path, too
  ASSERT_TRUE(CopyFileA(command.program.c_str(), copy.c_str(), FALSE));
  command.program = copy;
  for (int round = 0; round < 20; ++round) {
    command.arguments = {"arguments"};
    std::string expected;
    while (command.arguments.size() < 2500) {
      std::string each;
      for (auto i = random() % 8; i > 0; --i) each += pieces[random() % std::size(pieces)];
      expected += each + '\0';
      command.arguments.push_back(each);
    }
    EXPECT_EQ(run(command).out.text, expected) << round;
  }
  DeleteFileA(copy.c_str());
}

TEST(LaunchWin, ProgramOnALongPath) {
  std::string folder = "\\\\?\\" + ownPath() + ".long";
  const std::size_t rootSize = folder.size();
  for (int i = 0; i < 6; ++i, folder += "\\" + std::string(50, 'd') + "\xC3\xA4")
    CreateDirectoryW(toWide(folder)->c_str(), nullptr);
  folder.resize(folder.rfind('\\'));
  Command command = zoo({"say", "x"});
  const std::wstring copy = *toWide(folder + "\\zoo.exe");
  ASSERT_TRUE(CopyFileW(toWide(command.program)->c_str(), copy.c_str(), FALSE));
  command.program = toUtf8(copy.substr(4));
  ASSERT_GT(command.program.size(), 260U);
  const RunResult result = run(command);
  DeleteFileW(copy.c_str());
  for (; folder.size() >= rootSize; folder.resize(folder.rfind('\\')))
    RemoveDirectoryW(toWide(folder)->c_str());
  // Wine 8 finds the file, but starts none on such a path.
  if (result.error && result.error->step == "CreateProcessW")
    GTEST_SKIP() << result.error->message();
  EXPECT_FALSE(result.error);
  EXPECT_EQ(result.out.text, "x");
}

TEST(HostDeathTest, NeedsNoStreams) {
  const auto host = [] {  // as a program with windows only
    for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
      SetStdHandle(which, nullptr);
    std::_Exit(runsOnOwnStreams() ? 0 : 1);
  };
  EXPECT_EXIT(host(), testing::ExitedWithCode(0), "");
}

}  // namespace

}  // namespace nkutil::test
