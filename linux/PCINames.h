#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

class DRMData;

/// Picks the names of wanted devices out of a pci.ids text that comes in pieces.
class PCINames {
 public:
  void want(uint32_t vendorID, uint32_t deviceID) { fVendors[vendorID].devices[deviceID]; }
  void feed(std::string_view piece);
  /// To be called after the last piece.
  void finish();

  /// "maker model"; empty when either is unknown.
  std::string name(uint32_t vendorID, uint32_t deviceID) const;
  /// The first thing wrong with the text; empty when nothing was. Faults of names that nobody
  /// wants go unnoticed.
  const std::string& fault() const { return fFault; }

 private:
  struct Vendor {
    std::string name;
    std::map<uint32_t, std::string> devices;
  };

  void takePiece(std::string_view piece, bool lineEnds);
  void takeLine(std::string_view line);
  void takeName(std::string_view text, std::string& name);
  void noteFault(const char* fault);

  std::map<uint32_t, Vendor> fVendors;
  Vendor* fVendor = nullptr;  // whose devices the lines are about
  std::string fLine;          // begun in an earlier piece
  bool fTooLong = false;
  std::string fFault;
};

/// Names the adapters by the machine's pci.ids, if it has one. What is wrong with the file, and
/// with which one, is a diagnostic.
void NameAdapters(const std::filesystem::path& root, std::vector<DRMData>& adapters);
