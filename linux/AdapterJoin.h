#pragma once

#include <cstddef>
#include <string>
#include <vector>

class DRMData;

/// One GPU: a display device that gives a context, and the adapter it draws on.
struct AdapterJoin {
  size_t device;           // index of the display device
  const DRMData* adapter;  // null when the device names no node that the adapters have
};

/// Joins display devices to adapters by DRM node, and by nothing else: equal cards stay two. Of
/// several devices of one adapter the first counts. In the order of the adapters; devices without
/// one follow in their own. Logs each join and each device left out.
std::vector<AdapterJoin> JoinByNode(const std::vector<std::string>& deviceNames,
                                    const std::vector<DRMData>& adapters);

/// The node of a device name, "card0" of "/dev/dri/card0"; empty for any other.
std::string NodeOfDeviceName(const std::string& deviceName);
