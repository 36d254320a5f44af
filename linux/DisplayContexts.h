#pragma once

#include <boost/shared_ptr.hpp>
#include <vector>

#include "linux/UnusedHardware.h"
#include "zor/ogl/ContextOffscreen.h"

struct DeviceContext {
  ZOR::OGL::DisplayDeviceKey key;
  boost::shared_ptr<ZOR::OGL::ContextOffscreen> context;
};

struct DisplayContexts {
  std::vector<DeviceContext> contexts;
  std::vector<FailedDevice> failures;
};

/// A context for each display device that gives one. Logs each device; throws LogicalException
/// when the OpenGL binding is missing.
DisplayContexts CreateDisplayContexts();
