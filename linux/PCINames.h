#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

class DRMData;

/// The text of a pci.ids file, searched for names. Holds a copy of the text; not for two threads at
/// a time, because a search notes what is wrong with the text.
class PCINames {
 public:
  /// What follows the last line end is left out: no one can tell how much of a name it is.
  explicit PCINames(std::string_view text);

  /// "maker model" as UTF-8; empty when either is unknown or not to be used. Never throws for what
  /// the text holds.
  std::string Name(uint32_t vendorID, uint32_t deviceID);
  /// The first thing found wrong with the text; empty when nothing was. Only its end and the names
  /// that were asked for are looked at.
  const std::string& Fault() const { return fFault; }

 private:
  std::string takeName(size_t start);
  void noteFault(const char* fault);

  std::string fText;  // begins with a line end, as every line does then
  std::string fFault;
};

/// Names the adapters by the machine's pci.ids, the first of its usual places below the root that
/// can be read; without one the names stay as they are. What is wrong with the file, and with which
/// one, is a diagnostic.
void NameAdapters(const std::filesystem::path& root, std::vector<DRMData>& adapters);
