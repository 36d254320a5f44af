#include "linux/AdapterJoin.h"

#include <algorithm>
#include <string_view>

#include "linux/DRMData.h"
#include "log/Diagnostic.h"

namespace {

constexpr std::string_view kNodeFolder = "/dev/dri/";

using Adapters = std::vector<const DRMData*>;  // one per device, null where it is unknown

const DRMData* findByNode(const std::string& deviceName, const std::vector<DRMData>& adapters) {
  const std::string node = NodeOfDeviceName(deviceName);
  const auto found = std::find_if(adapters.begin(), adapters.end(), [&](const DRMData& adapter) {
    return adapter.Desc().hasNode(node);
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
