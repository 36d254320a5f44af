#include "linux/PCINames.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <optional>

#include "linux/DRMData.h"
#include "log/Diagnostic.h"
#include "log/Fmt.h"

using std::filesystem::path;

namespace {

constexpr const char* kFiles[] = {"usr/share/misc/pci.ids", "usr/share/hwdata/pci.ids"};
/// Far beyond any name; a file without line ends must not end up in the report.
constexpr size_t kMaxName = 1024;
/// Several times the file of today.
constexpr size_t kMaxFile = size_t{8} << 20;

/// Bytes that follow the first one of a UTF-8 sequence; -1 when no sequence begins so.
int followers(unsigned char first) {
  if (first >= 0x20 && first < 0x7F) return 0;
  if (first >= 0xC2 && first < 0xE0) return 1;
  if (first >= 0xE0 && first < 0xF0) return 2;
  if (first >= 0xF0 && first < 0xF5) return 3;
  return -1;
}

bool isUTF8Text(std::string_view text) {
  int open = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (open > 0 && (byte & 0xC0) == 0x80)
      --open;
    else if (open > 0 || (open = followers(byte)) < 0)
      return false;
  }
  return open == 0;
}

/// At most kMaxFile bytes. Nothing, in silence, where there is no such file.
std::optional<std::string> readFile(const path& file) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) return std::nullopt;
  // Opening something else, a pipe for example, could take forever.
  std::ifstream stream;
  if (std::filesystem::is_regular_file(status)) stream.open(file, std::ios::binary);
  if (!stream.is_open()) {
    Diagnostic{}(file.native(), ": ", error ? error.message() : "cannot be read");
    return std::nullopt;
  }
  std::string text(std::min<size_t>(std::filesystem::file_size(file, error), kMaxFile), '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(stream.gcount()));
  return text;
}

}  // namespace

PCINames::PCINames(std::string_view text) : fText("\n") {
  const size_t end = text.rfind('\n') + 1;  // 0 where there is no line end
  if (end != text.size()) noteFault("cut in the middle of a line");
  fText += text.substr(0, end);
}

std::string PCINames::Name(uint32_t vendorID, uint32_t deviceID) {
  const std::string vendor = stringPrintf("\n%04x  ", vendorID);
  const std::string device = stringPrintf("\t%04x  ", deviceID);
  const void* const found = memmem(fText.data(), fText.size(), vendor.data(), vendor.size());
  if (!found) return {};
  size_t line = static_cast<size_t>(static_cast<const char*>(found) - fText.data()) + 1;
  const std::string maker = takeName(line + vendor.size() - 1);
  // The maker's devices begin with a tab. A subsystem's line begins with two, which are no number.
  do {
    line = fText.find('\n', line) + 1;
    if (fText.compare(line, device.size(), device) != 0) continue;
    const std::string model = takeName(line + device.size());
    return maker.empty() || model.empty() ? "" : maker + ' ' + model;
  } while (line < fText.size() && std::strchr("\t#\r\n", fText[line]));
  return {};
}

std::string PCINames::takeName(size_t start) {
  std::string name = fText.substr(start, fText.find('\n', start) - start);
  if (!name.empty() && name.back() == '\r') name.pop_back();
  if (name.size() <= kMaxName && isUTF8Text(name)) return name;
  noteFault(name.size() > kMaxName ? "a name is too long" : "a name is no UTF-8 text");
  return {};
}

void PCINames::noteFault(const char* fault) {
  if (fFault.empty()) fFault = fault;
}

void NameAdapters(const path& root, std::vector<DRMData>& adapters) {
  if (std::all_of(adapters.begin(), adapters.end(),
                  [](const DRMData& adapter) { return adapter.GetVendorID() == 0; }))
    return;
  // The first that can be read is the machine's; the other belongs to another distribution's
  // layout.
  for (const char* file : kFiles) {
    const std::optional<std::string> text = readFile(root / file);
    if (!text) continue;
    PCINames names(*text);
    for (DRMData& adapter : adapters)
      if (adapter.GetVendorID() != 0)
        adapter.SetName(names.Name(adapter.GetVendorID(), adapter.GetDeviceID()));
    if (!names.Fault().empty()) Diagnostic{}((root / file).native(), ": ", names.Fault());
    return;
  }
}
