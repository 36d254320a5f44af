#include "linux/GPUImplLinux.h"

#include <algorithm>
#include <boost/make_shared.hpp>

#include "gpu/GLMemory.h"
#include "gpu/GPU.h"
#include "linux/AdapterJoin.h"
#include "linux/GLDriverText.h"
#include "linux/PCINames.h"
#include "log/Diagnostic.h"

namespace {

/// Fixed by OpenGL 1.0.
constexpr unsigned kGLVendor = 0x1F00;
constexpr unsigned kGLVersion = 0x1F02;

}  // namespace

GPUList GPUImplLinux::DoGetGPUs() {
  GPUList gpus;
  try {
    findGPUs(gpus);
  } catch (const std::exception& e) {
    PrintDiagnostic(Diagnostic{}, std::string("DoGetGPUs fails with exception: ") + e.what());
  } catch (...) {
    PrintDiagnostic(Diagnostic{}, "DoGetGPUs fails with exception");
  }
  return gpus;
}

void GPUImplLinux::findGPUs(GPUList& gpus) const {
  // The contexts come first: they wake their adapters, so that these can tell their memory.
  DisplayContexts devices = CreateDisplayContexts();
  std::vector<DRMData> adapters = DRMData::GetAllDevices(fRoot);
  Impls impls = makeImpls(devices.contexts);
  const auto software = std::stable_partition(impls.begin(), impls.end(),
                                              [](const auto& impl) { return !impl->fSoftware; });
  if (software != impls.begin()) {
    impls.erase(software, impls.end());
    joinAdapters(impls, adapters);
  } else {
    nameAndLog(adapters);
    for (const auto& impl : impls)
      devices.failures.push_back({impl->fDeviceName, "its context draws in software"});
    LogUnusedHardware(fRoot, adapters, devices.failures);
    if (impls.size() > 1) impls.resize(1);
  }
  for (const auto& impl : impls) gpus.push_back(boost::make_shared<GLGPU>(impl));
  if (gpus.empty()) Diagnostic{}("no OpenGL device gives a context");
}

GPUImplLinux::Impls GPUImplLinux::makeImpls(const std::vector<DeviceContext>& contexts) {
  Impls impls;
  for (const DeviceContext& entry : contexts) {
    const auto impl = boost::make_shared<GPUImplLinux>();
    impl->fContext = entry.context;
    impl->glContext = entry.context;
    impl->fDeviceName = entry.key.deviceName;
    impl->fSoftware = impl->drawsInSoftware();
    impls.push_back(impl);
  }
  return impls;
}

void GPUImplLinux::nameAndLog(std::vector<DRMData>& adapters) const {
  NameAdapters(fRoot, adapters);
  for (size_t i = 0; i < adapters.size(); ++i) Diagnostic{}("adapter[", i, "]", adapters[i].Desc());
}

void GPUImplLinux::joinAdapters(Impls& hardware, std::vector<DRMData>& adapters) const {
  std::vector<JoinDevice> devices;
  for (const auto& impl : hardware) devices.push_back({impl->fDeviceName, impl->hasNVIDIADriver()});
  if (NeedsAdaptersWithoutNodes(devices)) DRMData::AddDevicesWithoutNodes(fRoot, adapters);
  nameAndLog(adapters);
  Impls joined;
  for (const AdapterJoin& join : JoinDevices(devices, adapters)) {
    joined.push_back(hardware[join.device]);
    if (join.adapter) joined.back()->fAdapter = *join.adapter;
  }
  hardware.swap(joined);
}

bool GPUImplLinux::drawsInSoftware() {
  if (fDeviceName == ZOR::OGL::kSoftwareDeviceName) return true;
  try {
    // On a card that it has no driver for, Mesa may draw in software.
    if (!IsSoftwareRenderer(DoGetGLRenderer())) return false;
    Diagnostic{}(fDeviceName, ": its context draws in software");
    return true;
  } catch (const std::exception& e) {
    Diagnostic{}(fDeviceName, ": no renderer: ", e.what());
    return false;
  }
}

bool GPUImplLinux::hasNVIDIADriver() {
  try {
    return IsNVIDIADriver(glText(kGLVendor));
  } catch (const std::exception& e) {
    Diagnostic{}(fDeviceName, ": no vendor: ", e.what());
    return false;
  }
}

unsigned GPUImplLinux::DoGetGLMemoryMB() {
  const uint64_t bytes =
      fSoftware ? 0 : ListedGLMemoryBytes(*this, glContext, "GPUImplLinux::DoGetGLMemoryMB");
  const auto glMB = static_cast<uint32_t>(bytes >> 20);
  const uint32_t systemMB = fAdapter.GetVideoMemory();
  Diagnostic{}("glVRAM=", glMB, " systemVRAM=", systemMB);
  return std::max(glMB, systemMB);
}

std::string GPUImplLinux::DoGetGLName() {
  const std::string name = fAdapter.GetName();
  return name.empty() ? DoGetGLRenderer() : name;
}

std::string GPUImplLinux::DoGetGLDriverVersion() {
  const std::string version = DriverVersionFromGLVersion(glText(kGLVersion));
  return version.empty() ? fAdapter.Desc().driverVersion : version;
}

std::string GPUImplLinux::DoGetGLDriver() {
  const std::string& driver = fAdapter.Desc().driver;
  return driver.empty() ? fContext->driverName() : driver;
}
