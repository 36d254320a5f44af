#pragma once

#include "GPUImpl.h"
#include "ogl/Context.h"

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

 protected:
  /// A driver's text as a string; null is empty.
  std::string glText(unsigned name);
};
