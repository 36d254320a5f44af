#pragma once

#include <vector>

#include "gpu/AdapterMemory.h"
#include "linux/DRMAdapterDesc.h"

/// One display adapter as the kernel's DRM subsystem describes it.
class DRMData : public GPUData {
 public:
  /// A record that knows nothing.
  DRMData() = default;
  DRMData(DRMAdapterDesc desc, uint64_t installedRAM)
      : fDesc(std::move(desc)), fInstalledRAM(installedRAM) {}

  /// Every DRM device under the root path, the boot adapter first, then by bus address. Loads no
  /// driver and wakes no device; what can't be read is skipped with a diagnostic.
  static std::vector<DRMData> GetAllDevices(const std::filesystem::path& root);
  /// Adds the PCI display adapters that no DRM device stands for, and puts all in the same order.
  static void AddDevicesWithoutNodes(const std::filesystem::path& root,
                                     std::vector<DRMData>& adapters);

  /// Maker and model of pci.ids; empty when unknown.
  std::string GetName() const override { return fDesc.name; }
  void SetName(const std::string& name) { fDesc.name = name; }
  /// Usable memory in MiB; 0 when unknown. Logs the computation.
  uint32_t GetVideoMemory() const override;
  uint32_t GetVendorID() const override { return fDesc.vendorID; }
  uint32_t GetDeviceID() const override { return fDesc.deviceID; }
  std::string GetDescription() const override { return fDesc.name; }

  /// Logs its verdict.
  bool IsIntegrated() const { return LooksIntegrated(memory()); }
  const DRMAdapterDesc& Desc() const { return fDesc; }

 private:
  AdapterMemory memory() const;

  DRMAdapterDesc fDesc;
  uint64_t fInstalledRAM = 0;
};

/// Total physical bytes by /proc/meminfo; 0 when unknown.
uint64_t ReadInstalledRAM(const std::filesystem::path& root);
