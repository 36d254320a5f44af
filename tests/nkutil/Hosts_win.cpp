#include <windows.h>

#include <cstdio>

#include "Support.h"

namespace nkutil::test {

namespace {

/// A program with windows only has no standard handles.
int hasNoStreams() {
  for (const DWORD which : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE})
    SetStdHandle(which, nullptr);
  Command command = zoo({"copy"});
  command.input = Command::Input::Host;
  command.err.to = Command::Output::To::Host;
  const RunResult copied = run(command);
  const RunResult said = run(zoo({"say", "x"}));
  return copied.ending.name() == "exit code 0" && said.out.text == "x" ? 0 : 1;
}

int holdsAChild() {
  LaunchError error;
  const auto app = systemLauncher().launch(zoo({"sleep"}), in(60000), error);
  std::puts("holds");
  std::fflush(stdout);
  Sleep(1500);
  TerminateProcess(GetCurrentProcess(), 1);
  return 1;
}

}  // namespace

int runHost(const std::string& mode) {
  return mode == "holds-a-child" ? holdsAChild() : hasNoStreams();
}

}  // namespace nkutil::test
