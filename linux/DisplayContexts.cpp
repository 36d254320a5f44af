#include "linux/DisplayContexts.h"

#include <boost/make_shared.hpp>

#include "log/Diagnostic.h"
#include "zor/core/Exceptions.h"

using ZOR::OGL::Context;
using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::DisplayDeviceKey;

DisplayContexts CreateDisplayContexts() {
  DisplayContexts result;
  const uint64_t count = Context::NumDisplayDevice();
  Diagnostic{}("zorNumDevices=", count);
  for (uint64_t i = 0; i < count; ++i) {
    DisplayDeviceKey key;
    if (!Context::DisplayDevice(i, key)) continue;
    try {
      result.contexts.push_back({key, boost::make_shared<ContextOffscreen>(key)});
      Diagnostic{}("zorDevice[", i, "]=", key.deviceName, ' ', key.deviceString, " gives context[",
                   result.contexts.size() - 1, "]");
    } catch (const ZOR::ExceptionBase& e) {
      Diagnostic{}("no context on zorDevice[", i, "]=", key.deviceName, ": ", e.what());
      result.failures.push_back({key.deviceName, e.what()});
    }
  }
  return result;
}
