#include <boost/optional.hpp>

#include "app/GPUSnifferTester.h"
#include "log/Clock.h"
#include "log/Diagnostic.h"
#include "log/NKLogger.h"
#include "protocol/Questions.h"

// A question is put to all GPUs of its kind before the next one starts, so the report is grouped by
// key.

namespace {

constexpr int kGLFragmentProgramARB = 0x8804;

LogChannel delayChannel{"GPUSnifferOCLDelay", 0};

// Spins, as a driver that hangs would: hosts test their patience with it.
void delayOCL() {
  const int seconds = channelLevel(delayChannel);
  if (seconds <= 0) return;
  const double end = nowSeconds() + seconds;
  while (nowSeconds() < end) {
  }
}

std::string numberKey(const std::string& name) {
  return "gputag." + name;
}

}  // namespace

void GPUSnifferTester::DoRunGLTests() {
#define GPUPROBE_RUN(key, kind, unit) \
  RunTests(fGLGPUs, TestFunc<GPUSnifferTester, GLGPU>(&GPUSnifferTester::DoRun##key));
  GPUPROBE_GL_QUESTIONS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
}

void GPUSnifferTester::DoRunCLTests() {
#define GPUPROBE_RUN(key, kind, unit) \
  RunTests(fCLGPUs, TestFunc<GPUSnifferTester, CLGPU>(&GPUSnifferTester::DoRun##key));
  GPUPROBE_CL_QUESTIONS(GPUPROBE_RUN)
#undef GPUPROBE_RUN
}

void GPUSnifferTester::DoRunNativeTests() {
  RunTests(fNativeGPUs, TestFunc<GPUSnifferTester, NativeGPU>(&GPUSnifferTester::DoRunNativeName));
}

// Testers of hosts override these operations, which take their tag by value.
// NOLINTBEGIN(performance-unnecessary-value-param)

void GPUSnifferTester::DoRunGLVersion(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLVersion", [&] { return gpu.Version(); });
}

void GPUSnifferTester::DoRunIsIntegratedGLGPU(std::string tag, GLGPU& gpu) {
  Ask(tag, "IsIntegratedGLGPU", [&] { return gpu.IsIntegrated(); });
}

void GPUSnifferTester::DoRunGLMemoryMB(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLMemoryMB", [&] { return gpu.MemoryMB(); });
}

void GPUSnifferTester::DoRunGLName(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLName", [&] { return gpu.Name(); });
}

void GPUSnifferTester::DoRunGLVendor(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLVendor", [&] { return gpu.Vendor(); });
}

void GPUSnifferTester::DoRunGLVendorID(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLVendorID", [&] { return gpu.VendorID(); });
}

void GPUSnifferTester::DoRunGLDriverVersion(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLDriverVersion", [&] { return gpu.DriverVersion(); });
}

void GPUSnifferTester::DoRunGLRectTextureSize(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLRectTextureSize", [&] { return gpu.RectTextureSize(); });
}

void GPUSnifferTester::DoRunGLRenderer(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLRenderer", [&] { return gpu.Renderer(); });
}

void GPUSnifferTester::DoRunGLRendererID(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLRendererID", [&] { return gpu.RendererID(); });
}

void GPUSnifferTester::DoRunHasGLNPOTSupport(std::string tag, GLGPU& gpu) {
  Ask(tag, "HasGLNPOTSupport", [&] { return gpu.HasNPOTSupport(); });
}

void GPUSnifferTester::DoRunGLDriver(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLDriver", [&] { return gpu.Driver(); });
}

void GPUSnifferTester::DoRunGLDriverDate(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLDriverDate", [&] { return gpu.DriverDate(); });
}

void GPUSnifferTester::DoRunCanCompileProgramGLSL(std::string tag, GLGPU& gpu) {
  Ask(tag, "CanCompileProgramGLSL", [&] { return gpu.CanCompileProgramGLSL(); });
}

void GPUSnifferTester::DoRunGLFrameBufferOK(std::string tag, GLGPU& gpu) {
  Ask(tag, "GLFrameBufferOK", [&] { return gpu.FramebufferOK(); });
}

void GPUSnifferTester::DoRunCLPlatformVersion(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLPlatformVersion", [&] { return gpu.Version(); });
}

void GPUSnifferTester::DoRunCLDeviceVersion(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLDeviceVersion", [&] { return gpu.DeviceVersion(); });
}

void GPUSnifferTester::DoRunIsIntegratedCLGPU(std::string tag, CLGPU& gpu) {
  Ask(tag, "IsIntegratedCLGPU", [&] { return gpu.IsIntegrated(); });
}

void GPUSnifferTester::DoRunCLMemoryMB(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLMemoryMB", [&] { return gpu.MemoryMB(); });
}

void GPUSnifferTester::DoRunCLName(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLName", [&] { return gpu.Name(); });
}

void GPUSnifferTester::DoRunCLVendor(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLVendor", [&] { return gpu.Vendor(); });
}

void GPUSnifferTester::DoRunCLVendorID(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLVendorID", [&] { return gpu.VendorID(); });
}

void GPUSnifferTester::DoRunCLDriverVersion(std::string tag, CLGPU& gpu) {
  Ask(tag, "CLDriverVersion", [&] { return gpu.DriverVersion(); });
}

void GPUSnifferTester::DoRunCUDASupported(std::string tag, CLGPU& gpu) {
  Ask(tag, "CUDASupported", [&] { return gpu.CUDASupported(); });
}

void GPUSnifferTester::DoRunCUDAVersion(std::string tag, CLGPU& gpu) {
  Ask(tag, "CUDAVersion", [&] { return gpu.CUDAVersion(); });
}

void GPUSnifferTester::DoRunCLBandwidth(std::string tag, CLGPU& gpu) {
  // LogScope does not look at the channel's level itself.
  boost::optional<LogScope> scope;
  if (channelLevel(gpuSnifferChannel) != 0) {
    scope.emplace("GPUSnifferTester::DoRunCLBandwidth", __FILE__, __LINE__);
  }
  Ask(tag, "CLBandwidth", [&] {
    delayOCL();
    return gpu.Bandwidth();
  });
}

void GPUSnifferTester::DoRunNativeName(std::string tag, NativeGPU& gpu) {
  Ask(tag, "NativeName", [&] { return gpu.Name(); });
}

void GPUSnifferTester::DoRunGLGetString(std::string tag, GLGPU& gpu, const char* name,
                                        uint32_t enumerant) {
  AskWithoutStep(tag, std::string("glGetString[") + name + "]", [&] {
    WriteLine(numberKey(name), enumerant);
    return gpu.GetString(enumerant);
  });
}

void GPUSnifferTester::DoRunGLGetIntegerv(std::string tag, GLGPU& gpu, const char* name,
                                          int32_t enumerant, uint64_t count) {
  Ask(tag, std::string("glGetIntegerv[") + name + "]", [&] {
    WriteLine(numberKey(name), enumerant);
    std::vector<int> values(count);
    gpu.GetIntegerv(static_cast<uint32_t>(enumerant), values.data());
    return values;
  });
}

void GPUSnifferTester::DoRunGLGetProgramivARB(std::string tag, GLGPU& gpu, const char* name,
                                              int32_t enumerant, uint64_t count) {
  Ask(tag, std::string("glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][") + name + "]", [&] {
    WriteLine(numberKey("GL_FRAGMENT_PROGRAM_ARB"), kGLFragmentProgramARB);
    WriteLine(numberKey(name), enumerant);
    std::vector<int> values(count);
    gpu.GetProgramivARB(kGLFragmentProgramARB, static_cast<uint32_t>(enumerant), values.data());
    return values;
  });
}

void GPUSnifferTester::DoRunExtension(std::string tag, GLGPU& gpu, const char* name,
                                      uint32_t extension) {
  Ask(tag, std::string("extension[") + name + "]", [&] {
    WriteLine(numberKey(name), extension);
    return gpu.IsExtensionSupported(extension);
  });
}

// NOLINTEND(performance-unnecessary-value-param)

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
