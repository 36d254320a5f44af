#include "win/GPUImplWin.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/make_shared.hpp>

#include "gpu/GLQueries.h"
#include "gpu/GPU.h"
#include "log/Diagnostic.h"
#include "win/DescFormat.h"

namespace {

struct Maker {
  const char* name;  // as GL_VENDOR begins, in any case
  uint32_t vendorID;
};

constexpr Maker kMakers[] = {{"AMD", kVendorAMD},
                             {"ATI", kVendorAMD},
                             {"Advanced Micro Devices", kVendorAMD},
                             {"Intel", kVendorIntel},
                             {"NVIDIA", kVendorNVIDIA}};

/// Whether the text names a maker who is not the adapter's. An unknown adapter (0) and a text
/// without a known maker, as of layers and software renderers, prove nothing.
bool namesAnotherMaker(const std::string& glVendor, uint32_t vendorID) {
  return vendorID != 0 && std::any_of(std::begin(kMakers), std::end(kMakers), [&](const Maker& m) {
           return boost::istarts_with(glVendor, m.name) && m.vendorID != vendorID;
         });
}

void logDevice(DeviceStep step, uint64_t index, const ZOR::OGL::DisplayDeviceKey& key,
               const DisplayContexts& soFar) {
  switch (step) {
    case DeviceStep::Next:
      AdapterDiagnostic(837)("zorDeviceIndex=", index);
      break;
    case DeviceStep::Found:
      AdapterDiagnostic(843)("creating ContextOffscreen for ", Formatted(FormatDisplayDevice, key));
      break;
    case DeviceStep::Made:
      if (const std::string remark = soFar.contexts.back().context->remark(); !remark.empty())
        Diagnostic{}("zorDevice[", index, "] context: ", remark);
      AdapterDiagnostic(846)("zorDevice[", index, "]=", Formatted(FormatDisplayDevice, key));
      break;
    case DeviceStep::Failed:
      Diagnostic{}("no context: ", soFar.failures.back().reason);
      PrintDiagnostic(AdapterDiagnostic(853), "ContextOffscreen exception caught and ignored.");
      break;
  }
}

}  // namespace

GPUList GPUImplWin::DoGetGPUs() {
  GPUList gpus;
  try {
    findGPUs(gpus);
  } catch (...) {
    // The list is a stage, not a question: what leaves it would end the run, OpenCL's part with it.
    PrintDiagnostic(AdapterDiagnostic(962), "DoGetGPUs fails with exception");
  }
  return gpus;
}

void GPUImplWin::findGPUs(GPUList& gpus) {
  const std::vector<WMIData> wmi = WMIData::GetAllDevices();
  AdapterDiagnostic(873)("wmiNumDevices=", wmi.size());
  const std::vector<DXGIData> dxgi = DXGIData::GetAllDevices();
  AdapterDiagnostic(877)("dxgiNumDevices=", dxgi.size());
  // Of two display devices with one name (two monitors on an adapter) the later counts.
  ContextsByName contexts;
  for (const DeviceContext& made : CreateDisplayContexts(logDevice).contexts)
    contexts[made.key.deviceString] = made.context;
  AdapterDiagnostic(883)("zorNumContexts=", contexts.size());

  // A name is all that the three sources share.
  ImplsByName impls;
  joinRecords(dxgi, &GPUImplWin::fDXGIData, "DXGI", 909, contexts, impls);
  joinRecords(wmi, &GPUImplWin::fWMIData, "WMI", 934, contexts, impls);
  for (const auto& [name, impl] : impls) gpus.push_back(boost::make_shared<GLGPU>(impl));

  if (!gpus.empty() || contexts.empty()) return;
  // A name that no service knows, as under a remote desktop: OpenGL can still answer for itself.
  AdapterDiagnostic(970)("successful context creation but no matching WMI or DXGI devices found");
  const auto impl = boost::make_shared<GPUImplWin>();
  impl->glContext = contexts.begin()->second;
  gpus.push_back(boost::make_shared<GLGPU>(impl));
}

template <class Record>
void GPUImplWin::joinRecords(const std::vector<Record>& records, Record GPUImplWin::*field,
                             const char* service, int line, const ContextsByName& contexts,
                             ImplsByName& impls) {
  for (const Record& record : records) {
    const std::string name = record.GetName();
    const auto found = contexts.find(name);
    if (found == contexts.end()) {
      AdapterDiagnostic(line)("ZOR Device for ", service, " ", name, " not found");
      continue;
    }
    // DXGI's record and the service's of one name are one GPU; of two of one kind the later stays.
    boost::shared_ptr<GPUImplWin>& impl = impls[name];
    if (!impl) {
      impl = boost::make_shared<GPUImplWin>();
      impl->glContext = found->second;
    }
    (*impl).*field = record;
  }
}

std::string GPUImplWin::DoGetGLVendor() {
  std::string vendor = GPUImplHardware::DoGetGLVendor();
  // The system gives a window's OpenGL to the driver that it likes, and a name on a display device
  // is no promise that it is this adapter's.
  if (namesAnotherMaker(vendor, fDXGIData.GetVendorID()))
    Diagnostic{}("GL_VENDOR \"", vendor,
                 "\" is not the maker of the adapter, vendorID=", fDXGIData.GetVendorID(), " \"",
                 fDXGIData.GetDescription(), "\"");
  return vendor;
}

unsigned GPUImplWin::DoGetGLMemoryMB() {
  // AdapterRAM has 32 bits: from 4 GiB on only the other two can tell.
  const uint64_t bytes = std::max<uint64_t>(
      fWMIData.GetVideoMemory(),
      GLMemoryBytes(*this, fDXGIData.GetVendorID(), "GPUImplWin::DoGetGLMemoryMB"));
  const auto wmiMB = static_cast<uint32_t>(bytes >> 20);
  const uint32_t dxgiMB = fDXGIData.GetVideoMemory();
  AdapterDiagnostic(769)("wmiVRAM=", wmiMB, " dxgiVRAM=", dxgiMB);
  return std::max(wmiMB, dxgiMB);
}
