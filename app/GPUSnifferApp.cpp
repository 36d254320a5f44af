#include "GPUSnifferApp.h"

#include <boost/make_shared.hpp>
#include <string>

#include "FailureText.h"
#include "GPUSnifferTester.h"
#include "LogChannel.h"
#include "Platform.h"
#include "SnifferLog.h"
#include "SnifferLogger.h"

namespace {

// Made while there is memory.
const std::string noMemory = "exception: std::bad_alloc";

}  // namespace

GPUSnifferApp::GPUSnifferApp() = default;
GPUSnifferApp::~GPUSnifferApp() = default;

void GPUSnifferApp::InitLogging() {
  initLogging(100);
}

boost::shared_ptr<NKLogger> GPUSnifferApp::CreateLogger() {
  return boost::make_shared<SnifferLogger>();
}

boost::shared_ptr<GPUSnifferTester> GPUSnifferApp::CreateTester() {
  return boost::make_shared<GPUSnifferTester>(*this);
}

void GPUSnifferApp::DoComment(const std::string& text) {
  DoStdout("# " + text);
}

void GPUSnifferApp::DoStdout(const std::string& line) {
  if (!writeLine(reportStream(), line)) DoStderr("DoStdout failed");
}

void GPUSnifferApp::DoStderr(const std::string& line) {
  // Nobody is left to tell of a failure.
  writeLine(failureStream(), line);
}

void GPUSnifferApp::TellFailure() {
  try {
    DoStderr(CurrentFailureText());
  } catch (...) {
    DoStderr(noMemory);
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
    TellFailure();
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
