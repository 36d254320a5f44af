#pragma once

#include <map>

#include "gpu/DisplayContexts.h"
#include "gpu/GPUImplHardware.h"
#include "win/DXGIData.h"
#include "win/WMIData.h"

/// One GPU on Windows: OpenGL and OpenCL answer as everywhere; identifiers, memory and the
/// integrated verdict come from DXGI, the driver's texts from the management service.
class GPUImplWin : public GPUImplHardware {
 public:
  /// One GPU per name that a display device shares with a DXGI adapter or a controller. Nothing
  /// thrown: after a failure, which is said on standard error, the GPUs found so far.
  GPUList DoGetGPUs() override;
  /// The largest figure of the three sources; throws as GetInstalledRAM does.
  unsigned DoGetGLMemoryMB() override;
  /// OpenGL's answer; a diagnostic tells when it names another maker than the adapter's.
  std::string DoGetGLVendor() override;
  std::string DoGetGLName() override { return fDXGIData.GetDescription(); }
  unsigned DoGetGLVendorID() override { return fDXGIData.GetVendorID(); }
  std::string DoGetGLDriverVersion() override { return fWMIData.GetDriverVersion(); }
  unsigned DoGetGLRendererID() override { return fDXGIData.GetDeviceID(); }
  std::string DoGetGLDriver() override { return fWMIData.GetInstalledDisplayDrivers(); }
  std::string DoGetGLDriverDate() override { return fWMIData.GetDriverDate(); }
  std::string DoGetGLCaption() override { return fWMIData.GetCaption(); }
  bool DoIsIntegratedGLGPU() override { return fDXGIData.IsIntegrated(); }
  GPUList DoGetNativeGPUs() override { return {}; }
  std::string DoGetNativeName() override { return {}; }

 private:
  using ImplsByName = std::map<std::string, boost::shared_ptr<GPUImplWin>>;
  using ContextsByName = std::map<std::string, boost::shared_ptr<ZOR::OGL::ContextOffscreen>>;

  static void findGPUs(GPUList& gpus);
  /// Gives each record to the implementation of its name, made on first need; a record whose
  /// name no context has is only logged, at that line.
  template <class Record>
  static void joinRecords(const std::vector<Record>& records, Record GPUImplWin::*field,
                          const char* service, int line, const ContextsByName& contexts,
                          ImplsByName& impls);

  WMIData fWMIData;
  DXGIData fDXGIData;
};
