#pragma once

#include <boost/make_shared.hpp>

#include "app/MySniffer.h"
#include "app/MyTester.h"
#include "tests/support/FakeGL.h"
#include "tests/support/FakeGPUImpl.h"

/// Bytes; a larger allocation of this process fails.
extern size_t largestAllocation;

/// The shipped application over fakeMachine and a fake OpenGL, its two streams kept as texts. Its
/// tester is the shipped one but for the clock and the machine's OpenCL.
struct Probe : MySniffer {
  struct Tester : MyTester {
    using MyTester::MyTester;
    void DoRunZOROCLInitialize() override { fOCLAvailable = hasOCL; }
    std::string GetTimeString() override { return "now"; }
  };
  static inline bool hasOCL = true;

  boost::shared_ptr<GPUSnifferTester> CreateTester() override {
    return boost::make_shared<Tester>(*this);
  }
  void DoStdout(const std::string& line) override { out += line + "\n"; }
  void DoStderr(const std::string& line) override { err += line + "\n"; }

  int RunWith(ArgumentList arguments) {
    arguments.push_front("gpuprobe");
    return Run(arguments);
  }

  using MySniffer::fCrashAfter, MySniffer::fExitCode, MySniffer::fHang, MySniffer::fHostApp,
      MySniffer::fThrowAfter, MySniffer::fTimeout, MySniffer::fVerbose;

  FakeGL gl;
  std::string out, err;
};
