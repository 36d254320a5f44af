#pragma once

#include <windows.h>

#include <dxgi.h>

#include <vector>

#include "gpu/AdapterMemory.h"

/// One display adapter as DXGI describes it.
class DXGIData : public GPUData {
 public:
  /// No adapter: every number 0, no text.
  DXGIData() : fAdapterDesc{} {}
  explicit DXGIData(const DXGI_ADAPTER_DESC& desc) : fAdapterDesc(desc) {}

  /// The adapters that drive at least one output attached to the desktop, in DXGI's order. Never
  /// throws: after a failure, which is logged, the adapters kept so far.
  static std::vector<DXGIData> GetAllDevices();

  std::string GetName() const override { return GetDescription(); }
  /// Usable memory in MiB; throws as GetInstalledRAM does.
  uint32_t GetVideoMemory() const override;
  uint32_t GetVendorID() const override { return fAdapterDesc.VendorId; }
  uint32_t GetDeviceID() const override { return fAdapterDesc.DeviceId; }
  /// The description as quoteString gives it.
  std::string GetDescription() const override;

  bool IsIntegrated() const;

 private:
  AdapterMemory memory() const;

  DXGI_ADAPTER_DESC fAdapterDesc;
};

/// Total physical memory in bytes. Throws std::runtime_error "GlobalMemoryStatusEx failed".
uint64_t GetInstalledRAM();
