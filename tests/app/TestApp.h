#pragma once

#include <boost/make_shared.hpp>

#include "app/MySniffer.h"
#include "tests/support/FakeGL.h"
#include "tests/support/FakeGPUImpl.h"
#include "tests/support/GoldenReport.h"

/// The shipped application over fakeMachine and a fake OpenGL, its two streams kept as texts. Its
/// tester is the shipped one but for the clock and the machine's OpenCL.
struct TestApp : MySniffer {
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

/// Makes fakeMachine the one of report.golden.
inline void playGoldenMachine() {
  TestApp::hasOCL = true;
  fakeMachine = {};
  fakeMachine.gl = fakeMachine.cl = fakeMachine.native = 2;
  fakeMachine.texts = {{"DoGetGLDriver", ""}, {"DoGetGLVendor", "a\"b\\c"}};
  fakeMachine.numbers = {
      {"DoIsIntegratedGLGPU", 1},        {"DoGetGLMemoryMB", 2048}, {"DoGetGLVendorID", 4318},
      {"DoGetGLRectTextureSize", ~0U},   {"DoGetGLRendererID", 7},  {"DoHasGLNPOTSupport", 1},
      {"DoGLFramebufferOK", 1},          {"DoGetCLCompute", 0.25},  {"DoIsIntegratedCLGPU", 1},
      {"DoGetCLMemoryMB", 1536},         {"DoGetCLVendorID", 9},    {"DoIsCUDASupported", 1},
      {"DoGetCLBandwidth", 12345678901.}};
}
