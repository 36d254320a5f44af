#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>

#include "zor/ogl/DisplayDeviceKey.h"

namespace ZOR::OGL {

/// An OpenGL context that can be made current on the calling thread.
class Context {
 public:
  virtual ~Context() = default;

  virtual void makeCurrent() = 0;

  /// Counts, fills the index-th key (false when there is none, or when it is left out by
  /// deviceFilter), or gives the key of the device
  /// that programs use by default. All throw LogicalException when the OpenGL binding or, for
  /// the primary one, every device is missing.
  static uint64_t NumDisplayDevice();
  static bool DisplayDevice(uint64_t index, DisplayDeviceKey& key);
  static DisplayDeviceKey PrimaryDisplayDevice();
};

}  // namespace ZOR::OGL
