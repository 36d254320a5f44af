#include "app/GPUSnifferApp.h"

#include <boost/make_shared.hpp>
#include <cstdlib>
#include <string>

#include "app/GPUSnifferTester.h"
#include "app/Platform.h"
#include "gpu/HostSwitches.h"
#include "log/Diagnostic.h"
#include "log/LogChannel.h"
#include "log/Loggers.h"
#include "zor/core/Exceptions.h"
#include "zor/ogl/Backend.h"

namespace {

bool isDeviceWanted(const ZOR::OGL::DisplayDeviceKey& key) {
  const std::string& name = key.deviceName.empty() ? key.deviceString : key.deviceName;
  return ActiveSwitches().AdmitsPart(name, key.displayID);
}

// Made while there is memory.
const std::string kNoMemory = "exception: std::bad_alloc";

}  // namespace

std::string CurrentFailureText() {
  try {
    throw;
  } catch (const ZOR::LogicalException& failure) {
    return std::string("ZOR::LogicalException: ") + failure.what();
  } catch (const std::exception& failure) {
    const char* text = failure.what();
    return std::string("exception: ") + (text ? text : "<NULL>");
  } catch (...) {
    return "unknown exception";
  }
}

GPUSnifferApp::GPUSnifferApp() = default;

GPUSnifferApp::~GPUSnifferApp() {
  ActiveSwitches() = {};
  ZOR::OGL::deviceFilter = nullptr;
}

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
    DoStderr(kNoMemory);
  }
}

boost::shared_ptr<GPUSnifferTester> GPUSnifferApp::GetTester() {
  if (!fTester) fTester = CreateTester();
  if (!fTester) fTester = GPUSnifferApp::CreateTester();
  return fTester;
}

template <class Action>
void GPUSnifferApp::guard(const Action& action) {
  try {
    action();
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
}

int GPUSnifferApp::Run(ArgumentList& arguments) {
  fExitCode = 0;
  guard([&] { runUnguarded(arguments); });
  HangBeforeExit(fHang);
  // A driver may not survive the end of its contexts; a host wants to know that all was answered.
  guard([] { ActiveSwitches().Announce("release"); });
  return fExitCode;
}

void GPUSnifferApp::readHostSwitches() {
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string(value ? value : "");
  };
  const std::string announce = variable("GPUPROBE_ANNOUNCE");
  ActiveSwitches() = HostSwitches(variable("GPUPROBE_SKIP"), !announce.empty() && announce != "0",
                                  [this](const std::string& text) { DoComment(text); });
  if (ActiveSwitches().Steer()) ZOR::OGL::deviceFilter = isDeviceWanted;
  for (const std::string& name : ActiveSwitches().UnknownNames())
    DoStderr("GPUPROBE_SKIP: nothing is called " + name);
}

void GPUSnifferApp::runUnguarded(ArgumentList& arguments) {
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

  readHostSwitches();
  // Only now is the last -verbose= known.
  channelLevel(gpuSnifferChannel) = fVerbose;
  const boost::shared_ptr<GPUSnifferTester> tester = GetTester();
  tester->SetCrashAfter(fCrashAfter);
  tester->SetThrowAfter(fThrowAfter);
  tester->Run();
  if (tester->Failures() > 0) fExitCode = 2;
}
