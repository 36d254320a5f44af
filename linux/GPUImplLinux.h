#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "gpu/DisplayContexts.h"
#include "gpu/GPUImplHardware.h"
#include "linux/DRMData.h"

/// One GPU on Linux: OpenGL and OpenCL answer as everywhere; identifiers, names, memory, the
/// driver's name and the integrated verdict come from the kernel's description of the adapter.
class GPUImplLinux : public GPUImplHardware {
 public:
  explicit GPUImplLinux(std::filesystem::path root = "/") : fRoot(std::move(root)) {}

  /// One GPU per adapter that gives a context, in the order of DRMData::GetAllDevices, then one per
  /// hardware device whose adapter is unknown. A software renderer stands in only where no hardware
  /// answers; the diagnostics then say why. Never throws: what was found so far is returned, and
  /// one line on standard error says what went wrong.
  GPUList DoGetGPUs() override;

  /// The largest of the system's figure and those of OpenGL's memory queries.
  unsigned DoGetGLMemoryMB() override;
  std::string DoGetGLName() override;
  unsigned DoGetGLVendorID() override { return fAdapter.GetVendorID(); }
  std::string DoGetGLDriverVersion() override;
  unsigned DoGetGLRendererID() override { return fAdapter.GetDeviceID(); }
  std::string DoGetGLDriver() override;
  std::string DoGetGLDriverDate() override { return fAdapter.Desc().driverDate; }
  bool DoIsIntegratedGLGPU() override { return fAdapter.IsIntegrated(); }

  GPUList DoGetNativeGPUs() override { return {}; }
  std::string DoGetNativeName() override { return {}; }

 private:
  using Impls = std::vector<boost::shared_ptr<GPUImplLinux>>;

  void findGPUs(GPUList& gpus) const;
  static Impls makeImpls(const std::vector<DeviceContext>& contexts);
  void joinAdapters(Impls& hardware, std::vector<DRMData>& adapters) const;
  static std::vector<std::string> usedAdapters(const Impls& impls);
  void nameAndLog(std::vector<DRMData>& adapters) const;
  bool drawsInSoftware();
  bool hasNVIDIADriver();

  std::filesystem::path fRoot;
  boost::shared_ptr<ZOR::OGL::ContextOffscreen> fContext;
  std::string fDeviceName;
  bool fSoftware = false;
  DRMData fAdapter;
};

/// The driver's own version in a GL_VERSION text: what follows the OpenGL version, without the
/// remark on the profile. "4.5 (Compatibility Profile) Mesa 22.3.6" gives "Mesa 22.3.6". Empty
/// where the driver adds nothing.
std::string DriverVersionFromGLVersion(std::string_view glVersion);

/// Whether a GL_RENDERER text is that of a renderer that draws with the processor.
bool IsSoftwareRenderer(std::string_view glRenderer);

/// Whether a GL_VENDOR text is that of NVIDIA's own driver.
bool IsNVIDIADriver(std::string_view glVendor);
