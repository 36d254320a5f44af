#include "app/MySniffer.h"

#include <boost/make_shared.hpp>

#include "protocol/Questions.h"

boost::shared_ptr<GPUSnifferTester> MySniffer::CreateTester() {
  return boost::make_shared<MyTester>(*this);
}

void MyTester::DoRunTesterName() {
  Step();
  WriteLine("Tester", "LarkspanApp");
}

void MyTester::DoRunGLTests() {
  GPUSnifferTester::DoRunGLTests();
  RunTests(fGLGPUs, GLStringTest());
  RunTests(fGLGPUs, ProgramvTest());
#define GPUPROBE_RUN(name, number) RunTests(fGLGPUs, IntegervTest(#name, number));
  GPUPROBE_GL_LIMITS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
#define GPUPROBE_RUN(name, number) \
  RunTests(fGLGPUs, ExtensionTest(GPUPROBE_EXTENSION_NAME(name), number));
  GPUPROBE_GL_EXTENSIONS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
}

void MyTester::DoRunCLTests() {
  GPUSnifferTester::DoRunCLTests();
  RunTests(fCLGPUs, TestFunc<MyTester, CLGPU>(&MyTester::DoRunCLCompute));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as all of these operations take it
void MyTester::DoRunCLCompute(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLCompute", [&] { return gpu.Impl().DoGetCLCompute(); });
}
