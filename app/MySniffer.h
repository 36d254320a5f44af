#pragma once

#include "app/GPUSnifferTester.h"

/// The tester as shipped: names itself, asks every OpenGL GPU for capabilities by GL name, and
/// every OpenCL GPU for its kernel time.
class MyTester : public GPUSnifferTester {
 public:
  using GPUSnifferTester::GPUSnifferTester;

  void DoRunTesterName() override;
  void DoRunGLTests() override;
  void DoRunCLTests() override;

  /// Run time of the test kernel in seconds. The record's own Compute() is another figure.
  virtual void DoRunCLCompute(std::string tag, CLGPU& gpu);
};

/// The application as shipped: its tester is a MyTester.
class MySniffer : public GPUSnifferApp {
 public:
  boost::shared_ptr<GPUSnifferTester> CreateTester() override;
};
