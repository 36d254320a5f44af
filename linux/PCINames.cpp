#include "linux/PCINames.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>

#include "linux/DRMData.h"
#include "log/Diagnostic.h"

using std::filesystem::path;

namespace {

constexpr const char* kFiles[] = {"usr/share/misc/pci.ids", "usr/share/hwdata/pci.ids"};
constexpr size_t kMaxLine = 1024;
constexpr size_t kPieceSize = 65536;

/// "1002  Advanced Micro Devices": four digits, two blanks, the name. Leaves the name.
std::optional<uint32_t> takeID(std::string_view& line) {
  constexpr size_t kDigits = 4;
  uint32_t id = 0;
  const char* const end = line.data() + std::min(kDigits, line.size());
  const auto result = std::from_chars(line.data(), end, id, 16);
  if (result.ec != std::errc() || result.ptr != line.data() + kDigits) return std::nullopt;
  line.remove_prefix(kDigits);
  if (line.substr(0, 2) != "  ") return std::nullopt;
  line.remove_prefix(2);
  return id;
}

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

/// False where there is no such file.
bool feedFile(const path& file, PCINames& names) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) return false;
  // Opening something else, a pipe for example, could take forever.
  std::ifstream stream;
  if (std::filesystem::is_regular_file(status)) stream.open(file, std::ios::binary);
  if (!stream.is_open()) {
    Diagnostic{}(file.native(), ": ", error ? error.message() : "cannot be read");
    return false;
  }
  std::vector<char> piece(kPieceSize);
  do {
    stream.read(piece.data(), static_cast<std::streamsize>(piece.size()));
    names.feed({piece.data(), static_cast<size_t>(stream.gcount())});
  } while (stream);
  names.finish();
  if (!names.fault().empty()) Diagnostic{}(file.native(), ": ", names.fault());
  return true;
}

}  // namespace

void PCINames::feed(std::string_view piece) {
  while (!piece.empty()) {
    const size_t end = piece.find('\n');
    if (end == std::string_view::npos) {
      takePiece(piece, false);
      return;
    }
    takePiece(piece.substr(0, end), true);
    piece.remove_prefix(end + 1);
  }
}

void PCINames::takePiece(std::string_view piece, bool lineEnds) {
  if (fLine.size() + piece.size() > kMaxLine) {
    noteFault("a line is too long");
    fTooLong = true;
    fLine.clear();
  }
  if (lineEnds && fLine.empty() && !fTooLong) {
    takeLine(piece);
    return;
  }
  if (!fTooLong) fLine.append(piece);
  if (!lineEnds) return;
  if (!fTooLong) takeLine(fLine);
  fLine.clear();
  fTooLong = false;
}

void PCINames::takeLine(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (line.empty() || line[0] == '#') return;
  if (line[0] != '\t') {
    const std::optional<uint32_t> id = takeID(line);
    const auto vendor = id ? fVendors.find(*id) : fVendors.end();
    fVendor = vendor == fVendors.end() ? nullptr : &vendor->second;
    if (fVendor) takeName(line, fVendor->name);
  } else if (fVendor) {
    // A subsystem's line begins with two tabs, which are no number.
    line.remove_prefix(1);
    const std::optional<uint32_t> id = takeID(line);
    const auto device = id ? fVendor->devices.find(*id) : fVendor->devices.end();
    if (device != fVendor->devices.end()) takeName(line, device->second);
  }
}

void PCINames::takeName(std::string_view text, std::string& name) {
  if (!isUTF8Text(text))
    noteFault("a name is no UTF-8 text");
  else if (name.empty())
    name = text;
}

void PCINames::noteFault(const char* fault) {
  if (fFault.empty()) fFault = fault;
}

void PCINames::finish() {
  // Nobody can tell how much of a name is there.
  if (!fLine.empty() || fTooLong) noteFault("cut in the middle of a line");
  fLine.clear();
  fTooLong = false;
}

std::string PCINames::name(uint32_t vendorID, uint32_t deviceID) const {
  const auto vendor = fVendors.find(vendorID);
  if (vendor == fVendors.end() || vendor->second.name.empty()) return {};
  const auto device = vendor->second.devices.find(deviceID);
  if (device == vendor->second.devices.end() || device->second.empty()) return {};
  return vendor->second.name + ' ' + device->second;
}

void NameAdapters(const path& root, std::vector<DRMData>& adapters) {
  PCINames names;
  bool wanted = false;
  for (const DRMData& adapter : adapters) {
    if (adapter.GetVendorID() == 0) continue;
    names.want(adapter.GetVendorID(), adapter.GetDeviceID());
    wanted = true;
  }
  if (!wanted) return;
  for (const char* file : kFiles)
    if (feedFile(root / file, names)) break;
  for (DRMData& adapter : adapters)
    adapter.SetName(names.name(adapter.GetVendorID(), adapter.GetDeviceID()));
}
