#pragma once

#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

enum class AdapterBus { PCI, SoC, Other };

/// What the kernel says of one display adapter. Sizes in bytes; 0 or empty when unknown.
struct DRMAdapterDesc {
  AdapterBus bus = AdapterBus::Other;
  std::string address;             // "0000:03:00.0", elsewhere the device's name on its bus
  std::vector<std::string> nodes;  // names in /dev/dri, card nodes first
  bool boot = false;               // the firmware's screen was on it
  bool asleep = false;             // powered down while it was read
  uint32_t vendorID = 0;
  uint32_t deviceID = 0;
  uint32_t subsystemVendorID = 0;
  uint32_t subsystemDeviceID = 0;
  uint32_t revision = 0;
  uint32_t deviceClass = 0;  // PCI class code, 0x030000 is a VGA controller
  std::string driver;        // the kernel's
  std::string driverVersion;
  std::string driverDate;
  uint64_t dedicatedVideo = 0;
  uint64_t sharedSystem = 0;
  /// Size of the card's window onto its own memory, which says that there is some but not how
  /// much: it is as often smaller as, rounded up to a power of two, larger.
  uint64_t ownMemoryWindow = 0;
  std::string name;

  bool HasNode(std::string_view node) const;
};

/// Reads the device folder of an adapter (without nodes and name). Wakes nothing: a device that is
/// powered down is only asked what the kernel holds itself. Never throws for what the files hold;
/// what can't be read stays unknown.
DRMAdapterDesc ReadAdapterDesc(const std::filesystem::path& root,
                               const std::filesystem::path& deviceFolder);

/// The PCI class code of the device in that folder; 0 when unknown.
uint32_t ReadDeviceClass(const std::filesystem::path& deviceFolder);

/// One line for the diagnostics.
std::ostream& operator<<(std::ostream& stream, const DRMAdapterDesc& desc);

/// The size of the largest prefetchable memory window in the text of a PCI "resource" file.
uint64_t LargestPrefetchableWindow(std::string_view resource);

/// The date that ends the first line of /proc/driver/nvidia/version, as it stands there.
std::string DateOfNVIDIAVersion(std::string_view text);
