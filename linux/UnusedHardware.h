#pragma once

#include <filesystem>
#include <string>
#include <vector>

class DRMData;
struct DRMAdapterDesc;

/// A display device that stands for no GPU: what the library said, or what its context does.
struct FailedDevice {
  std::string deviceName;
  std::string reason;
};

/// A node of /dev/dri as this process may use it: 0, or why not (an errno value).
struct NodeAccess {
  std::string file;
  int error;
};

/// Why no GPU came of an adapter, as far as it was seen.
std::string UnusedReason(const DRMAdapterDesc& desc, const std::vector<NodeAccess>& nodes,
                         const std::vector<FailedDevice>& failures);

/// One diagnostic for each display adapter of the machine, those without a DRM device included,
/// that says why it isn't used; one when there is none at all. Reads nothing where diagnostics are
/// off.
void LogUnusedHardware(const std::filesystem::path& root, std::vector<DRMData> adapters,
                       const std::vector<FailedDevice>& failures);
