#pragma once

#include <cstdint>
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
