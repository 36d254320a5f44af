#include "GPUSnifferApp.h"

#include <boost/make_shared.hpp>
#include <cstdio>
#include <stdexcept>

#include "FailureText.h"
#include "GPUSnifferTester.h"
#include "LogChannel.h"
#include "Platform.h"
#include "SnifferLog.h"
#include "SnifferLogger.h"

namespace {

// One write for the whole line, so that a process that dies between two lines tears none.
void WriteLine(std::FILE* stream, const std::string& line) {
  std::string whole;
  whole.reserve(line.size() + 1);
  whole.append(line).push_back('\n');
  const bool written = std::fwrite(whole.data(), 1, whole.size(), stream) == whole.size();
  if (std::fflush(stream) == 0 && written) return;
  // The next line deserves its own try.
  std::clearerr(stream);
  throw std::runtime_error("cannot write a line");
}

}  // namespace

GPUSnifferApp::GPUSnifferApp() = default;
GPUSnifferApp::~GPUSnifferApp() = default;

void GPUSnifferApp::InitLogging() {
  initLogging(100);
}

boost::shared_ptr<NKLogger> GPUSnifferApp::CreateLogger() {
  return boost::make_shared<SnifferLogger>(stdout);
}

boost::shared_ptr<GPUSnifferTester> GPUSnifferApp::CreateTester() {
  return boost::make_shared<GPUSnifferTester>(*this);
}

void GPUSnifferApp::DoComment(const std::string& text) {
  DoStdout("# " + text);
}

void GPUSnifferApp::DoStdout(const std::string& line) {
  try {
    WriteLine(stdout, line);
  } catch (...) {
    DoStderr("DoStdout failed");
  }
}

void GPUSnifferApp::DoStderr(const std::string& line) {
  try {
    WriteLine(stderr, line);
  } catch (...) {
    // Nobody is left to tell.
  }
}

boost::shared_ptr<GPUSnifferTester> GPUSnifferApp::GetTester() {
  if (!fTester) fTester = CreateTester();
  if (!fTester) fTester = GPUSnifferApp::CreateTester();
  return fTester;
}

int GPUSnifferApp::Run(ArgumentList& arguments) {
  fExitCode = 0;
  try {
    RunUnguarded(arguments);
  } catch (const UsageException& failure) {
    fExitCode = 3;
    DoStderr(std::string("Usage exception: ") + failure.what());
    std::vector<std::string> lines;
    GetUsage(lines);
    for (const std::string& line : lines) DoStderr(line);
  } catch (...) {
    fExitCode = 2;
    DoStderr(CurrentFailureText());
  }
  HangBeforeExit(fHang);
  return fExitCode;
}

void GPUSnifferApp::RunUnguarded(ArgumentList& arguments) {
  InitLogging();
  if (!fLogger) fLogger = CreateLogger();
  Init();

  // A host may start the program without even its path.
  if (!arguments.empty()) {
    fHostApp = arguments.front();
    arguments.pop_front();
  }
  ParseArgs(arguments);
  if (!arguments.empty()) throw UsageException();

  // Only now is the last -verbose= known.
  channelLevel(gpuSnifferChannel) = fVerbose;
  const boost::shared_ptr<GPUSnifferTester> tester = GetTester();
  tester->SetCrashAfter(fCrashAfter);
  tester->SetThrowAfter(fThrowAfter);
  tester->Run();
  if (tester->Failures() > 0) fExitCode = 2;
}
