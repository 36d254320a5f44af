#include "linux/GPUImplLinux.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <iterator>

#include "gpu/GLQueries.h"
#include "gpu/GPU.h"
#include "linux/AdapterJoin.h"
#include "linux/PCINames.h"
#include "log/Diagnostic.h"

namespace {

/// Fixed by OpenGL 1.0.
constexpr unsigned kGLVendor = 0x1F00;
constexpr unsigned kGLVersion = 0x1F02;

// Mesa and NVIDIA put the profile in parentheses, AMD's own driver writes it out.
constexpr std::string_view kProfileRemarks[] = {
    "(Compatibility Profile)", "(Core Profile)",  "Compatibility Profile Context",
    "Core Profile Context",    "Profile Context",
};

// Mesa's two of today, its two of yesterday, and Google's.
constexpr std::string_view kSoftwareRenderers[] = {
    "llvmpipe", "softpipe", "Software Rasterizer", "SWR", "Google SwiftShader",
};

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

void logDevice(DeviceStep step, uint64_t index, const ZOR::OGL::DisplayDeviceKey& key,
               const DisplayContexts& soFar) {
  if (step == DeviceStep::Made)
    Diagnostic{}("zorDevice[", index, "]=", key.deviceName, ' ', key.deviceString,
                 " gives context[", soFar.contexts.size() - 1, "]");
  else if (step == DeviceStep::Failed)
    Diagnostic{}("no context on zorDevice[", index, "]=", key.deviceName, ": ",
                 soFar.failures.back().reason);
}

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
  DisplayContexts devices = CreateDisplayContexts(logDevice);
  std::vector<DRMData> adapters = DRMData::GetAllDevices(fRoot);
  Impls impls = makeImpls(devices.contexts);
  for (const auto& impl : impls)
    if (impl->fSoftware)
      devices.failures.push_back({impl->fDeviceName, "its context draws in software"});
  // Mesa lists its software device beside the hardware ones, and it answers on every machine.
  const auto software = std::stable_partition(impls.begin(), impls.end(),
                                              [](const auto& impl) { return !impl->fSoftware; });
  if (software != impls.begin()) {
    impls.erase(software, impls.end());
    joinAdapters(impls, adapters);
  } else {
    nameAndLog(adapters);
    // They would all be the same processor.
    if (impls.size() > 1) impls.resize(1);
  }
  LogUnusedHardware(fRoot, adapters, usedAdapters(impls), devices.failures);
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

std::vector<std::string> GPUImplLinux::usedAdapters(const Impls& impls) {
  std::vector<std::string> addresses;
  for (const auto& impl : impls)
    if (!impl->fSoftware) addresses.push_back(impl->fAdapter.Desc().address);
  return addresses;
}

void GPUImplLinux::joinAdapters(Impls& hardware, std::vector<DRMData>& adapters) const {
  std::vector<JoinDevice> devices;
  for (const auto& impl : hardware) devices.push_back({impl->fDeviceName, impl->hasNVIDIADriver()});
  if (NeedsAdaptersWithoutNodes(devices)) DRMData::AddDevicesWithoutNodes(fRoot, adapters);
  nameAndLog(adapters);
  Impls joined;
  for (const AdapterJoin& join : JoinDevices(devices, adapters)) {
    // Without an adapter OpenGL's own answers are still true; the identifiers stay 0.
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
    return IsNVIDIADriver(GLText(kGLVendor));
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
  const std::string version = DriverVersionFromGLVersion(GLText(kGLVersion));
  return version.empty() ? fAdapter.Desc().driverVersion : version;
}

std::string GPUImplLinux::DoGetGLDriver() {
  const std::string& driver = fAdapter.Desc().driver;
  return driver.empty() ? fContext->driverName() : driver;
}

std::string DriverVersionFromGLVersion(std::string_view glVersion) {
  // OpenGL 4.6, section 22.2: version number, blank, vendor-specific information.
  glVersion.remove_prefix(std::min(glVersion.find(' '), glVersion.size()));
  skipBlanks(glVersion);
  for (std::string_view remark : kProfileRemarks) {
    if (glVersion.substr(0, remark.size()) != remark) continue;
    glVersion.remove_prefix(remark.size());
    skipBlanks(glVersion);
    break;
  }
  return std::string(glVersion);
}

bool IsSoftwareRenderer(std::string_view glRenderer) {
  return std::any_of(
      std::begin(kSoftwareRenderers), std::end(kSoftwareRenderers),
      [&](std::string_view name) { return glRenderer.substr(0, name.size()) == name; });
}

bool IsNVIDIADriver(std::string_view glVendor) {
  return glVendor == "NVIDIA Corporation";
}
