#include "linux/DRMData.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <tuple>

#include "linux/SysfsFile.h"
#include "log/Diagnostic.h"

using std::filesystem::path;

namespace {

bool isNumbered(std::string_view name, std::string_view kind) {
  return name.size() > kind.size() && name.substr(0, kind.size()) == kind &&
         name.find_first_not_of("0123456789", kind.size()) == std::string_view::npos;
}

/// Beside the nodes, the folder holds the cards' connectors and files of the subsystem.
bool isNode(std::string_view name) {
  return isNumbered(name, "card") || isNumbered(name, "renderD");
}

/// Shorter first, so that 9 comes before 10, and "card" before "renderD".
bool byNumber(const std::string& a, const std::string& b) {
  return std::make_tuple(a.size(), a) < std::make_tuple(b.size(), b);
}

std::vector<std::string> listNodes(const path& folder) {
  std::vector<std::string> nodes;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    if (std::string name = entry->path().filename(); isNode(name)) nodes.push_back(name);
  if (error) Diagnostic{}(folder.native(), ": ", error.message());
  std::sort(nodes.begin(), nodes.end(), byNumber);
  return nodes;
}

/// The nodes of each device; a card node and its render node share the device.
std::map<path, std::vector<std::string>> nodesByDevice(const path& folder) {
  std::map<path, std::vector<std::string>> devices;
  for (const std::string& node : listNodes(folder)) {
    if (const std::optional<path> device = ResolveSysfsFolder(folder / node / "device"))
      devices[*device].push_back(node);
    else
      Diagnostic{}(node, ": no device behind the node, left out");
  }
  return devices;
}

/// Boot adapter, PCI by address (longer ones are in a later domain), the rest by name.
auto rank(const DRMAdapterDesc& desc) {
  const bool pci = desc.bus == AdapterBus::PCI;
  return std::make_tuple(!desc.boot, !pci, pci ? desc.address.size() : 0, desc.address);
}

void sortByRank(std::vector<DRMData>& adapters) {
  std::sort(adapters.begin(), adapters.end(),
            [](const DRMData& a, const DRMData& b) { return rank(a.Desc()) < rank(b.Desc()); });
}

/// By the class code's first byte.
bool isDisplay(const path& device) {
  constexpr uint32_t kDisplayClass = 0x03;
  return ReadDeviceClass(device) >> 16 == kDisplayClass;
}

}  // namespace

std::vector<DRMData> DRMData::GetAllDevices(const path& root) {
  const uint64_t installedRAM = ReadInstalledRAM(root);
  std::vector<DRMData> adapters;
  for (const auto& [device, nodes] : nodesByDevice(root / "sys/class/drm")) {
    DRMAdapterDesc desc = ReadAdapterDesc(root, device);
    desc.nodes = nodes;
    adapters.emplace_back(std::move(desc), installedRAM);
  }
  sortByRank(adapters);
  return adapters;
}

void DRMData::AddDevicesWithoutNodes(const path& root, std::vector<DRMData>& adapters) {
  const path folder = root / "sys/bus/pci/devices";
  std::vector<DRMData> others;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const bool known = std::any_of(adapters.begin(), adapters.end(), [&](const DRMData& adapter) {
      return adapter.Desc().address == entry->path().filename();
    });
    if (known || !isDisplay(entry->path())) continue;
    if (const std::optional<path> device = ResolveSysfsFolder(entry->path()))
      others.emplace_back(ReadAdapterDesc(root, *device), ReadInstalledRAM(root));
  }
  if (error && error != std::errc::no_such_file_or_directory)
    Diagnostic{}(folder.native(), ": ", error.message());
  adapters.insert(adapters.end(), others.begin(), others.end());
  sortByRank(adapters);
}

AdapterMemory DRMData::memory() const {
  AdapterMemory memory;
  memory.vendorID = fDesc.vendorID;
  memory.dedicatedVideo = fDesc.dedicatedVideo;
  // The kernel lets an adapter without memory of its own have about this much.
  memory.sharedSystem = fDesc.sharedSystem ? fDesc.sharedSystem : fInstalledRAM / 2;
  if (fDesc.bus == AdapterBus::SoC)
    memory.knownIntegrated = true;
  else if (fDesc.ownMemoryWindow > 0)
    memory.knownIntegrated = false;
  return memory;
}

uint32_t DRMData::GetVideoMemory() const {
  return UsableMemoryMB(memory(), [this] { return fInstalledRAM; });
}

uint64_t ReadInstalledRAM(const path& root) {
  const path file = root / "proc/meminfo";
  std::istringstream words(ReadSysfsText(file).value_or(""));
  std::string key;
  uint64_t kibibytes = 0;
  constexpr uint64_t kMaxKibibytes = uint64_t{1} << 42;
  if (words >> key >> kibibytes && key == "MemTotal:" && kibibytes < kMaxKibibytes)
    return kibibytes << 10;
  Diagnostic{}(file.native(), ": no total of the installed memory");
  return 0;
}
