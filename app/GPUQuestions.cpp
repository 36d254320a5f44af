#include <boost/optional.hpp>
#include <utility>

#include "Clock.h"
#include "GPUSnifferTester.h"
#include "LogScope.h"
#include "SnifferLog.h"

// The questions of each kind stand in the order of the report. A question is put to all GPUs
// before the next one starts, so the report is grouped by key.

namespace {

constexpr int glFragmentProgramARB = 0x8804;

LogChannel delayChannel{"GPUSnifferOCLDelay", 0};

// Spins, as a driver that hangs would: hosts test their patience with it.
void DelayOCL() {
  const int seconds = channelLevel(delayChannel);
  if (seconds <= 0) return;
  const double end = nowSeconds() + seconds;
  while (nowSeconds() < end) {
  }
}

std::string TagOf(const std::string& name) {
  return "gputag." + name;
}

}  // namespace

void GPUSnifferTester::DoRunGLTests() {
  using Tester = GPUSnifferTester;
  using Test = TestFunc<Tester, GLGPU>;
  static constexpr Test::Question questions[] = {
      &Tester::DoRunGLVersion,        &Tester::DoRunIsIntegratedGLGPU,
      &Tester::DoRunGLMemoryMB,       &Tester::DoRunGLName,
      &Tester::DoRunGLVendor,         &Tester::DoRunGLVendorID,
      &Tester::DoRunGLDriverVersion,  &Tester::DoRunGLRectTextureSize,
      &Tester::DoRunGLRenderer,       &Tester::DoRunGLRendererID,
      &Tester::DoRunHasGLNPOTSupport, &Tester::DoRunGLDriver,
      &Tester::DoRunGLDriverDate,     &Tester::DoRunCanCompileProgramGLSL,
      &Tester::DoRunGLFrameBufferOK,
  };
  for (const Test::Question question : questions) RunTests(fGLGPUs, Test(question));
}

void GPUSnifferTester::DoRunGLVersion(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLVersion", gpu.Version());
}

void GPUSnifferTester::DoRunIsIntegratedGLGPU(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".IsIntegratedGLGPU", gpu.IsIntegrated());
}

void GPUSnifferTester::DoRunGLMemoryMB(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLMemoryMB", gpu.MemoryMB());
}

void GPUSnifferTester::DoRunGLName(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLName", gpu.Name());
}

void GPUSnifferTester::DoRunGLVendor(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLVendor", gpu.Vendor());
}

void GPUSnifferTester::DoRunGLVendorID(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLVendorID", gpu.VendorID());
}

void GPUSnifferTester::DoRunGLDriverVersion(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLDriverVersion", gpu.DriverVersion());
}

void GPUSnifferTester::DoRunGLRectTextureSize(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLRectTextureSize", gpu.RectTextureSize());
}

void GPUSnifferTester::DoRunGLRenderer(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLRenderer", gpu.Renderer());
}

void GPUSnifferTester::DoRunGLRendererID(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLRendererID", gpu.RendererID());
}

void GPUSnifferTester::DoRunHasGLNPOTSupport(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".HasGLNPOTSupport", gpu.HasNPOTSupport());
}

void GPUSnifferTester::DoRunGLDriver(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLDriver", gpu.Driver());
}

void GPUSnifferTester::DoRunGLDriverDate(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLDriverDate", gpu.DriverDate());
}

void GPUSnifferTester::DoRunCanCompileProgramGLSL(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".CanCompileProgramGLSL", gpu.CanCompileProgramGLSL());
}

void GPUSnifferTester::DoRunGLFrameBufferOK(std::string tag, GLGPU& gpu) {
  Answer(std::move(tag) + ".GLFrameBufferOK", gpu.FramebufferOK());
}

void GPUSnifferTester::DoRunCLTests() {
  using Tester = GPUSnifferTester;
  using Test = TestFunc<Tester, CLGPU>;
  static constexpr Test::Question questions[] = {
      &Tester::DoRunCLPlatformVersion,
      &Tester::DoRunCLDeviceVersion,
      &Tester::DoRunIsIntegratedCLGPU,
      &Tester::DoRunCLMemoryMB,
      &Tester::DoRunCLName,
      &Tester::DoRunCLVendor,
      &Tester::DoRunCLVendorID,
      &Tester::DoRunCLDriverVersion,
      &Tester::DoRunCUDASupported,
      &Tester::DoRunCUDAVersion,
      &Tester::DoRunCLBandwidth,
  };
  for (const Test::Question question : questions) RunTests(fCLGPUs, Test(question));
}

void GPUSnifferTester::DoRunCLPlatformVersion(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLPlatformVersion", gpu.Version());
}

void GPUSnifferTester::DoRunCLDeviceVersion(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLDeviceVersion", gpu.DeviceVersion());
}

void GPUSnifferTester::DoRunIsIntegratedCLGPU(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".IsIntegratedCLGPU", gpu.IsIntegrated());
}

void GPUSnifferTester::DoRunCLMemoryMB(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLMemoryMB", gpu.MemoryMB());
}

void GPUSnifferTester::DoRunCLName(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLName", gpu.Name());
}

void GPUSnifferTester::DoRunCLVendor(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLVendor", gpu.Vendor());
}

void GPUSnifferTester::DoRunCLVendorID(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLVendorID", gpu.VendorID());
}

void GPUSnifferTester::DoRunCLDriverVersion(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CLDriverVersion", gpu.DriverVersion());
}

void GPUSnifferTester::DoRunCUDASupported(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CUDASupported", gpu.CUDASupported());
}

void GPUSnifferTester::DoRunCUDAVersion(std::string tag, CLGPU& gpu) {
  Answer(std::move(tag) + ".CUDAVersion", gpu.CUDAVersion());
}

void GPUSnifferTester::DoRunCLBandwidth(std::string tag, CLGPU& gpu) {
  // LogScope does not look at the channel's level itself.
  boost::optional<LogScope> scope;
  if (channelLevel(gpuSnifferChannel) != 0) {
    scope.emplace("GPUSnifferTester::DoRunCLBandwidth", __FILE__, __LINE__);
  }
  DelayOCL();
  Answer(std::move(tag) + ".CLBandwidth", gpu.Bandwidth());
}

void GPUSnifferTester::DoRunNativeTests() {
  using Test = TestFunc<GPUSnifferTester, NativeGPU>;
  RunTests(fNativeGPUs, Test(&GPUSnifferTester::DoRunNativeName));
}

void GPUSnifferTester::DoRunNativeName(std::string tag, NativeGPU& gpu) {
  Answer(std::move(tag) + ".NativeName", gpu.Name());
}

void GPUSnifferTester::DoRunGLGetString(std::string tag, GLGPU& gpu, const char* name,
                                        uint32_t enumerant) {
  WriteLine(TagOf(name), enumerant);
  WriteLine(std::move(tag) + ".glGetString[" + name + "]", gpu.GetString(enumerant));
}

void GPUSnifferTester::DoRunGLGetIntegerv(std::string tag, GLGPU& gpu, const char* name,
                                          int32_t enumerant, uint64_t count) {
  WriteLine(TagOf(name), enumerant);
  std::vector<int> values(count);
  gpu.GetIntegerv(static_cast<uint32_t>(enumerant), values.data());
  Answer(std::move(tag) + ".glGetIntegerv[" + name + "]", values);
}

void GPUSnifferTester::DoRunGLGetProgramivARB(std::string tag, GLGPU& gpu, const char* name,
                                              int32_t enumerant, uint64_t count) {
  WriteLine(TagOf("GL_FRAGMENT_PROGRAM_ARB"), glFragmentProgramARB);
  WriteLine(TagOf(name), enumerant);
  std::vector<int> values(count);
  gpu.GetProgramivARB(glFragmentProgramARB, static_cast<uint32_t>(enumerant), values.data());
  Answer(std::move(tag) + ".glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][" + name + "]", values);
}

void GPUSnifferTester::DoRunExtension(std::string tag, GLGPU& gpu, const char* name,
                                      uint32_t extension) {
  WriteLine(TagOf(name), extension);
  Answer(std::move(tag) + ".extension[" + name + "]", gpu.IsExtensionSupported(extension));
}
