#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include "gpu/GPUImpl.h"

/// One GPU of the report. Holds no data: every question is one call on its implementation. A null
/// implementation fails the assertion "px != 0".
class GPU {
 public:
  explicit GPU(const boost::shared_ptr<GPUImpl>& impl) : fImpl(impl) {}
  virtual ~GPU() = default;

  virtual std::string Version() const = 0;
  virtual unsigned MemoryMB() const = 0;
  virtual std::string Name() const = 0;
  virtual std::string Vendor() const = 0;
  virtual unsigned VendorID() const = 0;
  virtual std::string DriverVersion() const = 0;
  virtual bool IsIntegrated() const = 0;

  GPUImpl& Impl() const { return *fImpl; }

 private:
  boost::shared_ptr<GPUImpl> fImpl;
};

/// An OpenGL device.
class GLGPU : public GPU {
 public:
  using GPU::GPU;

  std::string Version() const override { return Impl().DoGetGLVersion(); }
  unsigned MemoryMB() const override { return Impl().DoGetGLMemoryMB(); }
  std::string Name() const override { return Impl().DoGetGLName(); }
  std::string Vendor() const override { return Impl().DoGetGLVendor(); }
  unsigned VendorID() const override { return Impl().DoGetGLVendorID(); }
  std::string DriverVersion() const override { return Impl().DoGetGLDriverVersion(); }
  bool IsIntegrated() const override { return Impl().DoIsIntegratedGLGPU(); }

  unsigned RectTextureSize() const { return Impl().DoGetGLRectTextureSize(); }
  std::string Renderer() const { return Impl().DoGetGLRenderer(); }
  unsigned RendererID() const { return Impl().DoGetGLRendererID(); }
  bool HasNPOTSupport() const { return Impl().DoHasGLNPOTSupport(); }
  std::string Driver() const { return Impl().DoGetGLDriver(); }
  std::string DriverDate() const { return Impl().DoGetGLDriverDate(); }
  std::string Caption() const { return Impl().DoGetGLCaption(); }
  bool CanCompileProgramGLSL() const { return Impl().DoCompileProgramGLSL(); }
  bool FramebufferOK() const { return Impl().DoGLFramebufferOK(); }
  const char* GetString(unsigned name) const { return Impl().DoGLGetString(name); }
  void GetIntegerv(unsigned name, int* out) const { Impl().DoGLGetIntegerv(name, out); }
  void GetProgramivARB(unsigned target, unsigned code, int* out) const {
    Impl().DoGLGetProgramivARB(target, code, out);
  }
  bool IsExtensionSupported(unsigned extension) const {
    return Impl().DoGLIsExtensionSupported(extension);
  }
};

/// An OpenCL device.
class CLGPU : public GPU {
 public:
  using GPU::GPU;

  std::string Version() const override { return Impl().DoGetCLPlatformVersion(); }
  unsigned MemoryMB() const override { return Impl().DoGetCLMemoryMB(); }
  std::string Name() const override { return Impl().DoGetCLName(); }
  std::string Vendor() const override { return Impl().DoGetCLVendor(); }
  unsigned VendorID() const override { return Impl().DoGetCLVendorID(); }
  std::string DriverVersion() const override { return Impl().DoGetCLDriverVersion(); }
  bool IsIntegrated() const override { return Impl().DoIsIntegratedCLGPU(); }

  virtual bool CUDASupported() const { return Impl().DoIsCUDASupported(); }
  virtual std::string CUDAVersion() const { return Impl().DoGetCUDAVersion(); }
  virtual double Bandwidth() const { return Impl().DoGetCLBandwidth(); }
  /// The score slot, 0.0 on every device; the measured time is DoGetCLCompute's.
  virtual double Compute() const { return Impl().DoGetCLComputeScore(); }
  virtual std::string DeviceVersion() const { return Impl().DoGetCLDeviceVersion(); }

  int32_t deviceIndex = -1;
};

/// An adapter known to the operating system alone. Only its name can be asked.
class NativeGPU : public GPU {
 public:
  using GPU::GPU;

  std::string Version() const override { return {}; }
  unsigned MemoryMB() const override { return 0; }
  std::string Name() const override { return Impl().DoGetNativeName(); }
  std::string Vendor() const override { return {}; }
  unsigned VendorID() const override { return 0; }
  std::string DriverVersion() const override { return {}; }
  bool IsIntegrated() const override { return false; }
};
