#include "app/GPUTests.h"

#include "app/GPUSnifferTester.h"

void GLStringTest::run(GPUSnifferTester& tester, const TaggedGPU& gpu) const {
  tester.DoRunGLGetString(gpu.first, RecordOf<GLGPU>(gpu), fName, fEnumerant);
}

void IntegervTest::run(GPUSnifferTester& tester, const TaggedGPU& gpu) const {
  tester.DoRunGLGetIntegerv(gpu.first, RecordOf<GLGPU>(gpu), fName, fEnumerant, fCount);
}

void ProgramvTest::run(GPUSnifferTester& tester, const TaggedGPU& gpu) const {
  tester.DoRunGLGetProgramivARB(gpu.first, RecordOf<GLGPU>(gpu), fName, fEnumerant, fCount);
}

void ExtensionTest::run(GPUSnifferTester& tester, const TaggedGPU& gpu) const {
  tester.DoRunExtension(gpu.first, RecordOf<GLGPU>(gpu), fName, fExtension);
}
