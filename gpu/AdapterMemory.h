#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// One display adapter as one of the system's services describes it.
class GPUData {
 public:
  virtual ~GPUData() = default;

  virtual std::string GetName() const = 0;
  /// The unit is the service's own: each derived class names it.
  virtual uint32_t GetVideoMemory() const = 0;
  /// PCI vendor; 0 when unknown.
  virtual uint32_t GetVendorID() const = 0;
  /// PCI device; 0 when unknown.
  virtual uint32_t GetDeviceID() const = 0;
  virtual std::string GetDescription() const = 0;
};

/// PCI vendors with a rule of their own.
inline constexpr uint32_t kVendorAMD = 0x1002;
inline constexpr uint32_t kVendorNVIDIA = 0x10DE;
inline constexpr uint32_t kVendorIntel = 0x8086;

/// What the memory rules know of an adapter; sizes in bytes, 0 when unknown.
struct AdapterMemory {
  uint32_t vendorID = 0;
  uint64_t dedicatedVideo = 0;
  uint64_t dedicatedSystem = 0;
  uint64_t sharedSystem = 0;
  /// The verdict of a system that knows better than the maker and the sizes can tell.
  std::optional<bool> knownIntegrated = {};
};

/// Whether an adapter shares the processor's memory, judged by its maker and its own memory
/// unless the system knows. Logs the verdict.
bool LooksIntegrated(const AdapterMemory& memory);

/// MiB that the adapter can use, counting a share of system memory for small integrated parts.
/// installedRAM (total physical bytes) is asked only where that share counts; what it throws
/// passes to the caller. Logs the computation.
uint32_t UsableMemoryMB(const AdapterMemory& memory, const std::function<uint64_t()>& installedRAM);
