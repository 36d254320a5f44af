#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shellapi.h>
#include <tlhelp32.h>

#include <random>

#include "nkutil/CommandLine.h"
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

std::vector<int> faultCodes() {
  return {ERROR_NO_SYSTEM_RESOURCES};
}

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

/// A program with windows only has no standard handles.
void haveNoStreams() {
  for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
    SetStdHandle(which, nullptr);
  Command command = zoo({"copy"});
  command.input = Command::Input::Host;
  command.err.to = Command::Output::To::Host;
  const bool copied = run(command).ending.name() == "exit code 0";
  std::_Exit(copied && run(zoo({"say", "x"})).out.text == "x" ? 0 : 1);
}

std::vector<std::string> randomArguments(std::mt19937& random) {
  const std::string pieces[] = {"\"", "\\", " ", "\t", "a",        "*",
                                "?",  "'",  "%", "^",  "\xC3\xA4", "\n"};
  std::vector<std::string> all(1 + random() % 5);
  for (std::string& each : all)
    for (auto i = random() % 8; i > 0; --i) each += pieces[random() % std::size(pieces)];
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
  std::vector<std::string> given{"arguments"};
  while (given.size() < 1000)
    for (std::string& each : randomArguments(random)) given.push_back(each);
  std::string expected;
  for (std::size_t i = 1; i < given.size(); ++i) expected += given[i] + '\0';
  EXPECT_EQ(run(zoo(given)).out.text, expected);
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
  EXPECT_EXIT(haveNoStreams(), testing::ExitedWithCode(0), "");
}

}  // namespace

}  // namespace nkutil::test
