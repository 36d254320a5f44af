#include "win/DXGIData.h"

#include <wrl/client.h>

#include <stdexcept>

#include "log/Quoting.h"
#include "log/ReportFailure.h"
#include "win/DescFormat.h"
#include "win/WindowsApi.h"

using Microsoft::WRL::ComPtr;

namespace {

/// Outputs of the adapter that are attached to the desktop. One that cannot describe itself
/// does not count.
unsigned countDisplays(IDXGIAdapter& adapter) {
  unsigned displays = 0;
  ComPtr<IDXGIOutput> output;
  for (UINT o = 0; SUCCEEDED(adapter.EnumOutputs(o, output.ReleaseAndGetAddressOf())); ++o) {
    DXGI_OUTPUT_DESC desc = {};
    if (FAILED(output->GetDesc(&desc))) continue;
    AdapterDiagnostic(587)("output[", o, "]", Formatted(FormatOutputDesc, desc));
    if (desc.AttachedToDesktop) ++displays;
  }
  return displays;
}

void readAdapters(ComPtr<IDXGIFactory>& factory, ComPtr<IDXGIAdapter>& adapter,
                  std::vector<DXGIData>& devices) {
  if (FAILED(windowsApi.CreateDXGIFactory(IID_PPV_ARGS(factory.ReleaseAndGetAddressOf())))) {
    // Hosts look for this text, letters as they are.
    FailRequirement("CreateGXGIFactory failed");
  }
  for (UINT a = 0; SUCCEEDED(factory->EnumAdapters(a, adapter.ReleaseAndGetAddressOf())); ++a) {
    DXGI_ADAPTER_DESC desc = {};
    if (FAILED(adapter->GetDesc(&desc))) FailRequirement("pAdapter->GetDesc failed");
    AdapterDiagnostic(574)("adapter[", a, "]", Formatted(FormatAdapterDesc, desc));
    const unsigned displays = countDisplays(*adapter.Get());
    // Drops software adapters, and GPUs whose picture another one shows.
    if (displays < 1) continue;
    AdapterDiagnostic(595)("adapter[", a, "] displays: ", displays);
    devices.emplace_back(desc);
  }
}

}  // namespace

std::vector<DXGIData> DXGIData::GetAllDevices() {
  std::vector<DXGIData> devices;
  ComPtr<IDXGIFactory> factory;
  ComPtr<IDXGIAdapter> adapter;
  GuardedRead(
      "DXGIData::GetAllDevices()", 603, 607, [&] { readAdapters(factory, adapter, devices); },
      [&] {
        // A factory that failed is not called again, not even to release it or its adapter.
        adapter.Detach();
        factory.Detach();
      });
  return devices;
}

uint32_t DXGIData::GetVideoMemory() const {
  return UsableMemoryMB(memory(), GetInstalledRAM);
}

std::string DXGIData::GetDescription() const {
  return quoteString(fAdapterDesc.Description);
}

bool DXGIData::IsIntegrated() const {
  return LooksIntegrated(memory());
}

AdapterMemory DXGIData::memory() const {
  return {fAdapterDesc.VendorId, fAdapterDesc.DedicatedVideoMemory,
          fAdapterDesc.DedicatedSystemMemory, fAdapterDesc.SharedSystemMemory};
}

uint64_t GetInstalledRAM() {
  MEMORYSTATUSEX status = {};
  status.dwLength = sizeof status;
  if (!windowsApi.GlobalMemoryStatusEx(&status)) {
    throw std::runtime_error("GlobalMemoryStatusEx failed");
  }
  return status.ullTotalPhys;
}
