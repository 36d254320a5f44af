#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "gpu/DisplayContexts.h"

class DRMData;
struct DRMAdapterDesc;

/// A display device that gives a hardware context.
struct JoinDevice {
  std::string name;
  bool nvidia = false;  // its driver is NVIDIA's own
};

/// One GPU: a display device, and the adapter it draws on.
struct AdapterJoin {
  size_t device;           // index of the display device
  const DRMData* adapter;  // null when nothing says which
};

/// Whether JoinDevices can make use of adapters that have no node.
bool NeedsAdaptersWithoutNodes(const std::vector<JoinDevice>& devices);

/// Joins display devices to adapters by DRM node, never by name: equal cards stay two. NVIDIA's
/// driver names no node to those who may not open it, and without its DRM module there is none:
/// such a device belongs to the one adapter of that driver that is left over, if it is one and the
/// device is the only such. Of several devices of one adapter the first counts. In the order of the
/// adapters; devices without one follow in their own. Logs each join and each device left out.
std::vector<AdapterJoin> JoinDevices(const std::vector<JoinDevice>& devices,
                                     const std::vector<DRMData>& adapters);

/// The node of a device name, "card0" of "/dev/dri/card0"; empty for any other.
std::string NodeOfDeviceName(const std::string& deviceName);

/// A node of /dev/dri as this process may use it: 0, or why not (an errno value).
struct NodeAccess {
  std::string file;
  int error;
};

/// Why no GPU came of an adapter, as far as it was seen.
std::string UnusedReason(const DRMAdapterDesc& desc, const std::vector<NodeAccess>& nodes,
                         const std::vector<FailedDevice>& failures);

/// One diagnostic for each display adapter of the machine whose address is not in `used`, those
/// without a DRM device included, that says why; one when there is no adapter at all. With "" in
/// `used` a GPU's adapter is unknown, and it may be any: then nothing is said. Reads nothing where
/// diagnostics are off.
void LogUnusedHardware(const std::filesystem::path& root, std::vector<DRMData> adapters,
                       const std::vector<std::string>& used,
                       const std::vector<FailedDevice>& failures);
