#include <algorithm>
#include <string>

#include "fuzz/Targets.h"
#include "linux/PCINames.h"

namespace {

constexpr uint32_t kVendor = 0x1002;
constexpr uint32_t kDevice = 0x73FF;

PCINames read(std::string_view text, size_t pieceSize) {
  PCINames names;
  names.want(kVendor, kDevice);
  while (!text.empty()) {
    names.feed(text.substr(0, pieceSize));
    text.remove_prefix(std::min(pieceSize, text.size()));
  }
  names.finish();
  return names;
}

}  // namespace

/// The first byte is the size of the pieces.
int FuzzPCIIDs(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const PCINames whole = read(text, text.size());
  const PCINames pieces = read(text, size_t{data[0]} + 1);
  const std::string name = whole.name(kVendor, kDevice);
  Promise(name == pieces.name(kVendor, kDevice), "pieces give the same name");
  Promise(whole.fault() == pieces.fault(), "pieces have the same fault");
  Promise(name.find_first_of("\n\t") == std::string::npos, "a name is of one line");
  Promise(name.empty() || text.find("1002  ") != text.npos, "a name has its number");
  return 0;
}
