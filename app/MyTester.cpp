#include "MyTester.h"

#include <utility>

void MyTester::DoRunTesterName() {
  Step();
  WriteLine("Tester", "LarkspanApp");
}

void MyTester::DoRunGLTests() {
  GPUSnifferTester::DoRunGLTests();

  static const IntegervTest integers[] = {
      {"GL_MAX_TEXTURE_UNITS", 0x84E2},
      {"GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS", 0x8B4D},
      {"GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS", 0x8B4C},
      {"GL_MAX_TEXTURE_IMAGE_UNITS", 0x8872},
      {"GL_MAX_DRAW_BUFFERS", 0x8824},
      {"GL_MAX_VERTEX_UNIFORM_COMPONENTS", 0x8B4A},
      {"GL_MAX_FRAGMENT_UNIFORM_COMPONENTS", 0x8B49},
      {"GL_MAX_VARYING_FLOATS", 0x8B4B},
      {"GL_MAX_VERTEX_ATTRIBS", 0x8869},
  };
  static const ExtensionTest extensions[] = {
      {"ZOR::OGL::GL_ARB_VERTEX_PROGRAM", 69},       {"ZOR::OGL::GL_ARB_FRAGMENT_PROGRAM", 27},
      {"ZOR::OGL::GL_ARB_VERTEX_SHADER", 70},        {"ZOR::OGL::GL_ARB_FRAGMENT_SHADER", 28},
      {"ZOR::OGL::GL_EXT_FRAMEBUFFER_OBJECT", 81},   {"ZOR::OGL::GL_ARB_TEXTURE_RECTANGLE", 58},
      {"ZOR::OGL::GL_ARB_TEXTURE_FLOAT", 53},        {"ZOR::OGL::GL_ARB_OCCLUSION_QUERY", 37},
      {"ZOR::OGL::GL_ARB_VERTEX_BUFFER_OBJECT", 68}, {"ZOR::OGL::GL_ARB_SHADER_TEXTURE_LOD", 47},
  };
  const TaggedGPUList gpus = fGLGPUs;
  if (gpus.empty()) return;
  RunTests(gpus, GLStringTest());
  RunTests(gpus, ProgramvTest());
  for (const IntegervTest& test : integers) RunTests(gpus, test);
  for (const ExtensionTest& test : extensions) RunTests(gpus, test);
}

void MyTester::DoRunCLTests() {
  GPUSnifferTester::DoRunCLTests();
  const TaggedGPUList gpus = fCLGPUs;
  if (gpus.empty()) return;
  RunTests(gpus, TestFunc<MyTester, CLGPU>(&MyTester::DoRunCLCompute));
}

void MyTester::DoRunCLCompute(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLCompute", gpu.Impl().DoGetCLCompute());
}
