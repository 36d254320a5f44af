#include "AdapterJoin.h"

#include <algorithm>
#include <string_view>

#include "DRMData.h"
#include "SnifferLog.h"

namespace {

constexpr std::string_view kNodeFolder = "/dev/dri/";

const DRMData* findAdapter(const std::string& deviceName, const std::vector<DRMData>& adapters) {
  const std::string node = NodeOfDeviceName(deviceName);
  const auto found = std::find_if(adapters.begin(), adapters.end(), [&](const DRMData& adapter) {
    return adapter.Desc().hasNode(node);
  });
  return found == adapters.end() ? nullptr : &*found;
}

}  // namespace

std::string NodeOfDeviceName(const std::string& deviceName) {
  if (deviceName.compare(0, kNodeFolder.size(), kNodeFolder) != 0) return {};
  return deviceName.substr(kNodeFolder.size());
}

std::vector<AdapterJoin> JoinByNode(const std::vector<std::string>& deviceNames,
                                    const std::vector<DRMData>& adapters) {
  std::vector<AdapterJoin> joins;
  for (size_t device = 0; device < deviceNames.size(); ++device) {
    const std::string& name = deviceNames[device];
    const DRMData* adapter = findAdapter(name, adapters);
    const auto same = std::find_if(joins.begin(), joins.end(), [&](const AdapterJoin& join) {
      return adapter && join.adapter == adapter;
    });
    if (same != joins.end()) {
      SnifferLog{}("context[", device, "]=", name, " left out: adapter ", adapter->Desc().address,
                   " has context[", same->device, "]=", deviceNames[same->device]);
      continue;
    }
    joins.push_back({device, adapter});
    if (adapter)
      SnifferLog{}("context[", device, "]=", name, " joined to adapter ", adapter->Desc().address);
    else
      SnifferLog{}("context[", device, "]=", name, " joined to no adapter: none has that node");
  }
  // Pointers into one vector, so their order is that of the adapters.
  std::stable_sort(joins.begin(), joins.end(), [](const AdapterJoin& a, const AdapterJoin& b) {
    return a.adapter && (!b.adapter || a.adapter < b.adapter);
  });
  return joins;
}
