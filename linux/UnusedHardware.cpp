#include "linux/UnusedHardware.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "linux/AdapterJoin.h"
#include "linux/DRMData.h"
#include "log/Diagnostic.h"

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

}  // namespace

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
    if (desc.hasNode(NodeOfDeviceName(failure.deviceName)))
      return reason + (reason.empty() ? "" : ", ") + failure.reason;
  return reason.empty() ? "EGL lists no device for it" : reason;
}

void LogUnusedHardware(const path& root, std::vector<DRMData> adapters,
                       const std::vector<FailedDevice>& failures) {
  if (!Diagnostic::isOn()) return;
  DRMData::AddDevicesWithoutNodes(root, adapters);
  for (const DRMData& adapter : adapters) {
    const DRMAdapterDesc& desc = adapter.Desc();
    Diagnostic{}("hardware not used: adapter ", desc.address, ": ",
                 UnusedReason(desc, checkNodes(root, desc.nodes), failures));
  }
  std::error_code error;
  const bool seen = std::filesystem::exists(root / "sys/bus", error);
  if (adapters.empty())
    Diagnostic{}("hardware not used: ", seen ? "there is no adapter" : "there is no /sys to ask");
}
