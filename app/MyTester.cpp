#include "app/MyTester.h"

#include "protocol/Questions.h"

void MyTester::DoRunTesterName() {
  Step();
  WriteLine("Tester", "LarkspanApp");
}

void MyTester::DoRunGLTests() {
  GPUSnifferTester::DoRunGLTests();

  const TaggedGPUList gpus = fGLGPUs;
  if (gpus.empty()) return;
  RunTests(gpus, GLStringTest());
  RunTests(gpus, ProgramvTest());
#define GPUPROBE_RUN(name, number) RunTests(gpus, IntegervTest(#name, number));
  GPUPROBE_GL_LIMITS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
#define GPUPROBE_RUN(name, number) \
  RunTests(gpus, ExtensionTest(GPUPROBE_EXTENSION_NAME(name), number));
  GPUPROBE_GL_EXTENSIONS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
}

void MyTester::DoRunCLTests() {
  GPUSnifferTester::DoRunCLTests();
  const TaggedGPUList gpus = fCLGPUs;
  if (gpus.empty()) return;
  RunTests(gpus, TestFunc<MyTester, CLGPU>(&MyTester::DoRunCLCompute));
}

void MyTester::DoRunCLCompute(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLCompute", [&] { return gpu.Impl().DoGetCLCompute(); });
}
