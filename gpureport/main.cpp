#include <exception>

#include "gpureport/CommandLine.h"
#include "gpureport/ExitCode.h"
#include "gpureport/Platform.h"

namespace {

int run(const std::vector<std::string>& arguments) {
  using namespace gpureport;
  const Wanted wanted = ParseCommandLine(arguments);
  if (wanted.show) return Show(*wanted.show);
  if (wanted.guard) return Guard(*wanted.guard);
  const bool failed = wanted.exitCode != kComplete;
  WriteBytes(failed ? StandardStream::Err : StandardStream::Out, wanted.text);
  return wanted.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
  gpureport::PrepareProcess();
  const std::vector<std::string> arguments = gpureport::Arguments(argc, argv);
  int code = gpureport::kOwnFailure;
  try {
    code = run(arguments);
  } catch (const std::exception& error) {
    gpureport::WriteBytes(gpureport::StandardStream::Err,
                          std::string("gpureport: ") + error.what() + "\n");
    if (!arguments.empty() && arguments.front() == "guard") code = gpureport::kGuardFailure;
  }
  // A thread may still wait for who reads our output, or for a program that no kill ends.
  gpureport::Leave(code);
}
