#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

class DRMData;

/// The text of a pci.ids file, searched for names.
class PCINames {
 public:
  /// What follows the last line end is left out: no one can tell how much of a name it is.
  explicit PCINames(std::string_view text);

  /// "maker model"; empty when either is unknown.
  std::string name(uint32_t vendorID, uint32_t deviceID);
  /// The first thing found wrong with the text; empty when nothing was. Only its end and the names
  /// that were asked for are looked at.
  const std::string& fault() const { return fFault; }

 private:
  std::string takeName(size_t start);
  void noteFault(const char* fault);

  std::string fText;  // begins with a line end, as every line does then
  std::string fFault;
};

/// Names the adapters by the machine's pci.ids, if it has one. What is wrong with the file, and
/// with which one, is a diagnostic.
void NameAdapters(const std::filesystem::path& root, std::vector<DRMData>& adapters);
