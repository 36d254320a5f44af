#include "linux/AdapterJoin.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "linux/DRMData.h"
#include "log/Diagnostic.h"

using std::filesystem::path;

namespace {

constexpr std::string_view kNodeFolder = "/dev/dri/";

using Adapters = std::vector<const DRMData*>;  // one per device, null where it is unknown

const DRMData* findByNode(const std::string& deviceName, const std::vector<DRMData>& adapters) {
  const std::string node = NodeOfDeviceName(deviceName);
  const auto found = std::find_if(adapters.begin(), adapters.end(), [&](const DRMData& adapter) {
    return adapter.Desc().HasNode(node);
  });
  return found == adapters.end() ? nullptr : &*found;
}

bool isNVIDIAWithoutNode(const JoinDevice& device) {
  return device.nvidia && NodeOfDeviceName(device.name).empty();
}

/// Adapters of NVIDIA's driver that none of its devices names. Another library's device may.
Adapters findLeftOver(const std::vector<JoinDevice>& devices, const Adapters& known,
                      const std::vector<DRMData>& adapters) {
  Adapters leftOver;
  for (const DRMData& adapter : adapters) {
    bool named = false;
    for (size_t i = 0; i < devices.size(); ++i) named |= devices[i].nvidia && known[i] == &adapter;
    if (!named && adapter.GetVendorID() == kVendorNVIDIA && adapter.Desc().driver == "nvidia")
      leftOver.push_back(&adapter);
  }
  return leftOver;
}

// With two of either a guess would give one card the other's name and memory.
void joinByElimination(const std::vector<JoinDevice>& devices, Adapters& known,
                       const std::vector<DRMData>& adapters) {
  const auto count = std::count_if(devices.begin(), devices.end(), isNVIDIAWithoutNode);
  if (count == 0) return;
  const Adapters leftOver = findLeftOver(devices, known, adapters);
  if (count != 1 || leftOver.size() != 1) {
    Diagnostic{}("not joined: ", count, " NVIDIA contexts without a node, ", leftOver.size(),
                 " NVIDIA adapters left over");
    return;
  }
  const auto device = std::find_if(devices.begin(), devices.end(), isNVIDIAWithoutNode);
  known[static_cast<size_t>(device - devices.begin())] = leftOver[0];
}

std::vector<NodeAccess> checkNodes(const path& root, const std::vector<std::string>& nodes) {
  std::vector<NodeAccess> accesses;
  for (const std::string& node : nodes) {
    const path file = root / "dev/dri" / node;
    // Asked, not opened: opening a node may wake the card.
    const int error = access(file.c_str(), R_OK | W_OK) == 0 ? 0 : errno;
    accesses.push_back({file, error});
  }
  return accesses;
}

}  // namespace

std::string NodeOfDeviceName(const std::string& deviceName) {
  if (deviceName.compare(0, kNodeFolder.size(), kNodeFolder) != 0) return {};
  return deviceName.substr(kNodeFolder.size());
}

bool NeedsAdaptersWithoutNodes(const std::vector<JoinDevice>& devices) {
  return std::any_of(devices.begin(), devices.end(), isNVIDIAWithoutNode);
}

std::vector<AdapterJoin> JoinDevices(const std::vector<JoinDevice>& devices,
                                     const std::vector<DRMData>& adapters) {
  Adapters known;
  for (const JoinDevice& device : devices) known.push_back(findByNode(device.name, adapters));
  joinByElimination(devices, known, adapters);
  std::vector<AdapterJoin> joins;
  for (size_t i = 0; i < devices.size(); ++i) {
    const DRMData* adapter = known[i];
    const auto same = std::find_if(joins.begin(), joins.end(), [&](const AdapterJoin& join) {
      return adapter && join.adapter == adapter;
    });
    if (same != joins.end()) {
      Diagnostic{}("context[", i, "]=", devices[i].name, " left out: adapter ",
                   adapter->Desc().address, " has context[", same->device,
                   "]=", devices[same->device].name);
      continue;
    }
    joins.push_back({i, adapter});
    if (adapter)
      Diagnostic{}("context[", i, "]=", devices[i].name, " joined to adapter ",
                   adapter->Desc().address);
    else
      Diagnostic{}("context[", i, "]=", devices[i].name, " joined to no adapter");
  }
  // Pointers into one vector, so their order is that of the adapters.
  std::stable_sort(joins.begin(), joins.end(), [](const AdapterJoin& a, const AdapterJoin& b) {
    return a.adapter && (!b.adapter || a.adapter < b.adapter);
  });
  return joins;
}

std::string UnusedReason(const DRMAdapterDesc& desc, const std::vector<NodeAccess>& nodes,
                         const std::vector<FailedDevice>& failures) {
  if (nodes.empty())
    return desc.driver.empty() ? "no driver is bound to it"
                               : "its driver " + desc.driver + " makes no DRM device";
  std::string reason;
  // The render node comes last; it is the one that programs open.
  const NodeAccess& last = nodes.back();
  if (desc.nodes.back().compare(0, 7, "renderD") != 0)
    reason = "it has no render node";
  else if (last.error != 0)
    reason = last.file + ": " + std::generic_category().message(last.error);
  for (const FailedDevice& failure : failures)
    if (desc.HasNode(NodeOfDeviceName(failure.deviceName)))
      return reason + (reason.empty() ? "" : ", ") + failure.reason;
  return reason.empty() ? "EGL lists no device for it" : reason;
}

void LogUnusedHardware(const path& root, std::vector<DRMData> adapters,
                       const std::vector<std::string>& used,
                       const std::vector<FailedDevice>& failures) {
  const auto isUsed = [&](const std::string& address) {
    return std::find(used.begin(), used.end(), address) != used.end();
  };
  if (!Diagnostic::isOn() || isUsed("")) return;
  DRMData::AddDevicesWithoutNodes(root, adapters);
  for (const DRMData& adapter : adapters) {
    const DRMAdapterDesc& desc = adapter.Desc();
    if (isUsed(desc.address)) continue;
    Diagnostic{}("hardware not used: adapter ", desc.address, ": ",
                 UnusedReason(desc, checkNodes(root, desc.nodes), failures));
  }
  std::error_code error;
  const bool seen = std::filesystem::exists(root / "sys/bus", error);
  if (adapters.empty())
    Diagnostic{}("hardware not used: ", seen ? "there is no adapter" : "there is no /sys to ask");
}
