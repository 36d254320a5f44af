#include "UnusedHardware.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "AdapterJoin.h"
#include "DRMData.h"
#include "SnifferLog.h"
#include "SysfsFile.h"

using std::filesystem::path;

namespace {

std::vector<NodeAccess> checkNodes(const path& root, const std::vector<std::string>& nodes) {
  std::vector<NodeAccess> accesses;
  for (const std::string& node : nodes) {
    const path file = root / "dev/dri" / node;
    const int error = access(file.c_str(), R_OK | W_OK) == 0 ? 0 : errno;
    accesses.push_back({file, error});
  }
  return accesses;
}

void logUnused(const std::string& address, const std::string& reason) {
  SnifferLog{}("hardware not used: adapter ", address, ": ", reason);
}

bool isDisplay(const path& device) {
  constexpr uint64_t kDisplayClass = 0x03;
  constexpr uint64_t kMaxClass = 0xFFFFFF;
  return ReadSysfsNumber(device / "class", kMaxClass).value_or(0) >> 16 == kDisplayClass;
}

/// PCI display adapters that no DRM device stands for.
std::vector<path> findOthers(const path& root, const std::vector<DRMData>& adapters) {
  std::vector<path> others;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(root / "sys/bus/pci/devices", error), end;
       !error && entry != end; entry.increment(error)) {
    const bool known = std::any_of(adapters.begin(), adapters.end(), [&](const DRMData& adapter) {
      return adapter.Desc().address == entry->path().filename();
    });
    if (!known && isDisplay(entry->path())) others.push_back(entry->path());
  }
  std::sort(others.begin(), others.end());
  return others;
}

}  // namespace

std::string UnusedReason(const DRMAdapterDesc& desc, const std::vector<NodeAccess>& nodes,
                         const std::vector<FailedDevice>& failures) {
  if (desc.driver.empty()) return "no driver is bound to it";
  std::string reason;
  // The render node comes last; it is the one that programs open.
  if (!nodes.empty() && nodes.back().error != 0)
    reason = nodes.back().file + ": " + std::generic_category().message(nodes.back().error);
  for (const FailedDevice& failure : failures)
    if (desc.hasNode(NodeOfDeviceName(failure.deviceName)))
      return reason + (reason.empty() ? "" : ", ") + failure.error;
  return reason.empty() ? "EGL lists no device for it" : reason;
}

void LogUnusedHardware(const path& root, const std::vector<DRMData>& adapters,
                       const std::vector<FailedDevice>& failures) {
  for (const DRMData& adapter : adapters) {
    const DRMAdapterDesc& desc = adapter.Desc();
    logUnused(desc.address, UnusedReason(desc, checkNodes(root, desc.nodes), failures));
  }
  const std::vector<path> others = findOthers(root, adapters);
  for (const path& device : others) {
    const std::string driver = ReadSysfsLinkName(device / "driver");
    logUnused(device.filename(), driver.empty() ? "no driver is bound to it"
                                                : "its driver " + driver + " makes no DRM device");
  }
  if (adapters.empty() && others.empty()) SnifferLog{}("hardware not used: there is no adapter");
}
