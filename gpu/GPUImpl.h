#pragma once

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

class GPU;

using GPUList = std::vector<boost::shared_ptr<GPU>>;

/// Answers every question about one GPU. The slots keep their order: a host's own
/// implementation is bound to it. Any slot may throw; the caller reports and counts it.
class GPUImpl {
 public:
  virtual ~GPUImpl() = default;

  /// The OpenGL GPUs of the machine, each with an implementation of its own.
  virtual GPUList DoGetGPUs() = 0;
  /// Highest supported OpenGL version, for example "3.3".
  virtual std::string DoGetGLVersion() = 0;
  /// Usable memory in MiB; 0 when unknown.
  virtual unsigned DoGetGLMemoryMB() = 0;
  virtual std::string DoGetGLName() = 0;
  virtual std::string DoGetGLVendor() = 0;
  /// PCI vendor; 0 when unknown.
  virtual unsigned DoGetGLVendorID() = 0;
  virtual std::string DoGetGLDriverVersion() = 0;
  /// Largest rectangle texture in texels a side (ARB_texture_rectangle).
  virtual unsigned DoGetGLRectTextureSize() = 0;
  virtual std::string DoGetGLRenderer() = 0;
  /// PCI device; 0 when unknown.
  virtual unsigned DoGetGLRendererID() = 0;
  virtual bool DoHasGLNPOTSupport() = 0;
  virtual std::string DoGetGLDriver() = 0;
  virtual std::string DoGetGLDriverDate() = 0;
  virtual std::string DoGetGLCaption() = 0;
  /// Whether the test program compiles and links.
  virtual bool DoCompileProgramGLSL() = 0;
  /// Whether rendering to a texture leaves no GL error.
  virtual bool DoGLFramebufferOK() = 0;
  /// The driver's own text, or null; valid while the GPU's context lives.
  virtual const char* DoGLGetString(unsigned name) = 0;
  /// Writes one integer; *out keeps its value when the query fails.
  virtual void DoGLGetIntegerv(unsigned name, int* out) = 0;
  virtual void DoGLGetProgramivARB(unsigned target, unsigned code, int* out) = 0;
  /// Takes a ZOR::OGL::OpenGLExtension number.
  virtual bool DoGLIsExtensionSupported(unsigned extension) = 0;
  virtual bool DoIsIntegratedGLGPU() = 0;

  /// The OpenCL GPUs of the machine, each with an implementation of its own.
  virtual GPUList DoGetCLGPUs() = 0;
  virtual std::string DoGetCLPlatformVersion() = 0;
  /// Global memory in whole MiB, rounded down.
  virtual unsigned DoGetCLMemoryMB() = 0;
  virtual std::string DoGetCLName() = 0;
  virtual std::string DoGetCLVendor() = 0;
  virtual unsigned DoGetCLVendorID() = 0;
  virtual std::string DoGetCLDriverVersion() = 0;
  virtual bool DoIsCUDASupported() = 0;
  /// Empty when the platform names no CUDA version.
  virtual std::string DoGetCUDAVersion() = 0;
  /// Best copy rate in bytes per second, reads and writes both counted.
  virtual double DoGetCLBandwidth() = 0;
  /// Run time of the test kernel in seconds.
  virtual double DoGetCLCompute() = 0;
  virtual double DoGetCLComputeScore() = 0;
  virtual std::string DoGetCLDeviceVersion() = 0;
  virtual bool DoIsIntegratedCLGPU() = 0;

  /// The adapters that only the operating system knows; empty on every platform so far.
  virtual GPUList DoGetNativeGPUs() = 0;
  virtual std::string DoGetNativeName() = 0;
};

/// A fresh implementation of the platform's kind. It answers the list questions at once; the
/// per-GPU questions need a GPU behind it, as the lists' own records have.
boost::shared_ptr<GPUImpl> MakeGPUImpl();
