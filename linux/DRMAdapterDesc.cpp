#include "linux/DRMAdapterDesc.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <optional>
#include <sstream>

#include "gpu/AdapterMemory.h"
#include "linux/SysfsFile.h"

using std::filesystem::path;

namespace {

constexpr uint32_t kMaxID = 0xFFFF;
constexpr uint32_t kMaxRevision = 0xFF;
/// 1 PiB: more is no card's, and the rules count MiB in 31 bits.
constexpr uint64_t kMaxMemory = uint64_t{1} << 50;

uint32_t readNumber(const path& file, uint32_t limit) {
  return static_cast<uint32_t>(ReadSysfsNumber(file, limit).value_or(0));
}

/// What can't be looked at is there.
bool isThere(const path& file) {
  return access(file.c_str(), F_OK) == 0 || errno != ENOENT;
}

/// The folder with the PCI identifiers. A virtio device is its PCI device's child and has
/// identifiers of another kind under the same names.
std::optional<path> findPCIFolder(const path& folder, const std::string& bus) {
  if (bus == "pci") return folder;
  if (bus == "virtio" && ReadSysfsLinkName(folder.parent_path() / "subsystem") == "pci")
    return folder.parent_path();
  return std::nullopt;
}

bool isAsleep(const path& folder) {
  const path file = folder / "power/runtime_status";
  if (!isThere(file)) return false;
  // A state that can't be read counts as suspended: reading the device could power it up.
  const std::string status = ReadSysfsLine(file).value_or("suspended");
  return status == "suspended" || status == "suspending";
}

bool onRootBus(const std::string& address) {
  const size_t colon = address.find(':');
  return colon != std::string::npos && address.compare(colon + 1, 3, "00:") == 0;
}

/// The card's window onto memory of its own, by the text of its "resource" file. Behind a bridge
/// the largest prefetchable window of these makers' cards leads there. On the root bus sit
/// integrated parts with a window onto the system's memory, and, in a virtual machine, cards that
/// were passed to it: more than a processor's graphics ever had tells those.
uint64_t findOwnMemoryWindow(const DRMAdapterDesc& desc, std::string_view resource) {
  constexpr uint64_t kMaxIntegrated = uint64_t{4} << 30;
  const uint64_t window = LargestPrefetchableWindow(resource);
  return !onRootBus(desc.address) || window > kMaxIntegrated ? window : 0;
}

bool hasKnownWindows(uint32_t vendorID) {
  return vendorID == kVendorAMD || vendorID == kVendorIntel || vendorID == kVendorNVIDIA;
}

void readPCI(const path& folder, DRMAdapterDesc& desc) {
  desc.vendorID = readNumber(folder / "vendor", kMaxID);
  desc.deviceID = readNumber(folder / "device", kMaxID);
  desc.subsystemVendorID = readNumber(folder / "subsystem_vendor", kMaxID);
  desc.subsystemDeviceID = readNumber(folder / "subsystem_device", kMaxID);
  desc.revision = readNumber(folder / "revision", kMaxRevision);
  desc.deviceClass = ReadDeviceClass(folder);
  desc.boot = readNumber(folder / "boot_vga", 1) != 0;
}

void readMemory(const path& folder, const path& pciFolder, DRMAdapterDesc& desc) {
  // Linux 6.1's amdgpu prints stored numbers, but nothing promises that a driver won't power the
  // card up to answer.
  if (!desc.asleep) {
    desc.dedicatedVideo = ReadSysfsNumber(folder / "mem_info_vram_total", kMaxMemory).value_or(0);
    desc.sharedSystem = ReadSysfsNumber(folder / "mem_info_gtt_total", kMaxMemory).value_or(0);
  }
  if (desc.dedicatedVideo == 0 && hasKnownWindows(desc.vendorID))
    desc.ownMemoryWindow =
        findOwnMemoryWindow(desc, ReadSysfsText(pciFolder / "resource").value_or(""));
}

/// On Linux 6.1, other than on 5.10, a virtio GPU's DRM device belongs to the PCI device, whose
/// driver only carries messages for the virtio device below. That one's folder.
path findVirtioFolder(const path& folder) {
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    if (entry->path().filename().native().compare(0, 6, "virtio") == 0 &&
        isThere(entry->path() / "driver"))
      return entry->path();
  return folder;
}

void readDriver(const path& root, const path& deviceFolder, DRMAdapterDesc& desc) {
  path folder = deviceFolder;
  desc.driver = ReadSysfsLinkName(folder / "driver");
  if (desc.driver == "virtio-pci") {
    folder = findVirtioFolder(folder);
    desc.driver = ReadSysfsLinkName(folder / "driver");
  }
  if (desc.driver.empty()) return;
  desc.driverVersion = ReadSysfsLine(folder / "driver/module/version").value_or("");
  if (desc.driver == "nvidia")
    desc.driverDate =
        DateOfNVIDIAVersion(ReadSysfsText(root / "proc/driver/nvidia/version").value_or(""));
}

const char* busName(AdapterBus bus) {
  switch (bus) {
    case AdapterBus::PCI:
      return "PCI";
    case AdapterBus::SoC:
      return "SoC";
    case AdapterBus::Other:
      break;
  }
  return "other";
}

}  // namespace

uint32_t ReadDeviceClass(const path& deviceFolder) {
  return readNumber(deviceFolder / "class", 0xFFFFFF);
}

bool DRMAdapterDesc::HasNode(std::string_view node) const {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

DRMAdapterDesc ReadAdapterDesc(const path& root, const path& deviceFolder) {
  DRMAdapterDesc desc;
  const std::string bus = ReadSysfsLinkName(deviceFolder / "subsystem");
  const std::optional<path> pciFolder = findPCIFolder(deviceFolder, bus);
  const path& busFolder = pciFolder ? *pciFolder : deviceFolder;
  desc.address = busFolder.filename();
  desc.asleep = isAsleep(busFolder);
  if (pciFolder) {
    desc.bus = AdapterBus::PCI;
    readPCI(*pciFolder, desc);
  } else if (bus == "platform" && isThere(deviceFolder / "of_node")) {
    // Described by the device tree: a part of the chip, not a virtual or a firmware's device.
    desc.bus = AdapterBus::SoC;
  }
  readDriver(root, deviceFolder, desc);
  readMemory(deviceFolder, busFolder, desc);
  return desc;
}

std::ostream& operator<<(std::ostream& stream, const DRMAdapterDesc& desc) {
  stream << "{ Address=" << desc.address << " Bus=" << busName(desc.bus) << " Nodes=";
  for (const std::string& node : desc.nodes)
    stream << (&node == desc.nodes.data() ? "" : ",") << node;
  return stream << " Boot=" << desc.boot << " Asleep=" << desc.asleep
                << " VendorID=" << desc.vendorID << " DeviceID=" << desc.deviceID
                << " SubsystemVendorID=" << desc.subsystemVendorID
                << " SubsystemDeviceID=" << desc.subsystemDeviceID << " Revision=" << desc.revision
                << " Class=" << desc.deviceClass << " Driver=" << desc.driver
                << " DriverVersion=" << desc.driverVersion << " DriverDate=" << desc.driverDate
                << " DedicatedVideoMemory=" << desc.dedicatedVideo
                << " SharedSystemMemory=" << desc.sharedSystem
                << " OwnMemoryWindow=" << desc.ownMemoryWindow << " Name=" << desc.name << "}";
}

uint64_t LargestPrefetchableWindow(std::string_view resource) {
  // include/linux/ioport.h
  constexpr uint64_t kMemory = 0x200;
  constexpr uint64_t kPrefetchable = 0x2000;
  constexpr int kWindows = 6;  // expansion ROM and bridge windows follow
  uint64_t largest = 0;
  std::istringstream lines{std::string(resource)};
  lines >> std::hex;
  uint64_t start = 0;
  uint64_t end = 0;
  uint64_t flags = 0;
  for (int i = 0; i < kWindows && lines >> start >> end >> flags; ++i)
    if ((flags & kMemory) && (flags & kPrefetchable) && end > start)
      largest = std::max(largest, end - start + 1);
  return largest;
}

std::string DateOfNVIDIAVersion(std::string_view text) {
  text = text.substr(0, text.find('\n'));
  for (const char* day : {" Mon ", " Tue ", " Wed ", " Thu ", " Fri ", " Sat ", " Sun "})
    if (const size_t found = text.rfind(day); found != std::string_view::npos)
      return std::string(text.substr(found + 1));
  return {};
}
