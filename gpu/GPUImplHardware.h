#pragma once

#include <array>

#include "gpu/GPUImpl.h"
#include "zor/ocl/Objects.h"
#include "zor/ogl/Context.h"

/// One slot for each copy of a bandwidth batch.
using CLCopyEvents = std::array<ZOR::OCL::ScopedEvent, 10>;

/// The answers that OpenGL and OpenCL give by themselves. A platform's implementation derives from
/// it and adds what only the system knows.
class GPUImplHardware : public GPUImpl {
 public:
  std::string DoGetGLVersion() override;
  std::string DoGetGLName() override { return DoGetGLRenderer(); }
  std::string DoGetGLVendor() override;
  unsigned DoGetGLRectTextureSize() override;
  std::string DoGetGLRenderer() override;
  bool DoHasGLNPOTSupport() override;
  std::string DoGetGLDriver() override { return {}; }
  std::string DoGetGLDriverDate() override { return {}; }
  std::string DoGetGLCaption() override { return {}; }
  bool DoCompileProgramGLSL() override;
  bool DoGLFramebufferOK() override;
  const char* DoGLGetString(unsigned name) override;
  void DoGLGetIntegerv(unsigned name, int* out) override;
  void DoGLGetProgramivARB(unsigned target, unsigned code, int* out) override;
  bool DoGLIsExtensionSupported(unsigned extension) override;
  bool DoIsIntegratedGLGPU() override { return false; }

  GPUList DoGetCLGPUs() override;
  std::string DoGetCLPlatformVersion() override;
  unsigned DoGetCLMemoryMB() override;
  std::string DoGetCLName() override;
  std::string DoGetCLVendor() override;
  unsigned DoGetCLVendorID() override;
  std::string DoGetCLDriverVersion() override;
  bool DoIsCUDASupported() override;
  std::string DoGetCUDAVersion() override;
  double DoGetCLBandwidth() override;
  double DoGetCLCompute() override;
  double DoGetCLComputeScore() override { return 0.0; }
  std::string DoGetCLDeviceVersion() override;
  bool DoIsIntegratedCLGPU() override;

  /// The GPU's context; empty until the enumeration of OpenGL GPUs fills it.
  boost::shared_ptr<ZOR::OGL::Context> glContext;
  /// The GPU's OpenCL device; none until the enumeration of OpenCL GPUs assigns it.
  ZOR::OCL::Device clDevice;

 protected:
  /// A driver's text as a string; null is empty.
  std::string GLText(unsigned name);

 private:
  /// Best rate of at most ten batches of copies, in bytes per second; 0.0 when no batch gave a
  /// time.
  double checkBandwidthCL(const ZOR::OCL::Context& context, const ZOR::OCL::CommandQueue& queue);
  /// Device seconds of one batch; 0.0 when a call of it failed.
  double timeBandwidthCL(const ZOR::OCL::CommandQueue& queue, cl_mem source, cl_mem destination,
                         CLCopyEvents& events);
  /// Device seconds of the test kernel.
  double MeasureCLCompute(const ZOR::OCL::Context& context, const ZOR::OCL::CommandQueue& queue);
};
