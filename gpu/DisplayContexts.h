#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "zor/ogl/Context.h"

/// A display device and the context that it gives.
struct DeviceContext {
  ZOR::OGL::DisplayDeviceKey key;
  boost::shared_ptr<ZOR::OGL::ContextOffscreen> context;
};

/// A display device that stands for no GPU: what the library said, or what its context does.
struct FailedDevice {
  std::string deviceName;
  std::string reason;
};

/// Both in the order of the display devices.
struct DisplayContexts {
  std::vector<DeviceContext> contexts;
  std::vector<FailedDevice> failures;
};

/// How far a display device is. Made and failed: it is the last one of its list.
enum class DeviceStep { Next, Found, Made, Failed };

/// A platform's own diagnostics of one step. The key is empty until the device is found.
using DeviceLog = void (*)(DeviceStep step, uint64_t index, const ZOR::OGL::DisplayDeviceKey& key,
                           const DisplayContexts& soFar);

/// A context for each display device that gives one. Logs how many devices there are, and each
/// step through `log`. Throws what the counting of the devices throws; a context that can't be made
/// is a failure of its device alone.
DisplayContexts CreateDisplayContexts(DeviceLog log);
