#include "gpu/DisplayContexts.h"

#include <boost/make_shared.hpp>

#include "log/Diagnostic.h"

using ZOR::OGL::Context;
using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::DisplayDeviceKey;

namespace {

/// Whether the device gives a context; else its failure is noted.
bool makeContext(const DisplayDeviceKey& key, DisplayContexts& result) {
  try {
    result.contexts.push_back({key, boost::make_shared<ContextOffscreen>(key)});
    return true;
  } catch (const std::exception& exception) {
    result.failures.push_back({key.deviceName, exception.what()});
  } catch (...) {
    result.failures.push_back({key.deviceName, "unknown exception"});
  }
  return false;
}

}  // namespace

DisplayContexts CreateDisplayContexts(DeviceLog log) {
  DisplayContexts result;
  const uint64_t count = Context::NumDisplayDevice();
  AdapterDiagnostic(834)("zorNumDevices=", count);
  for (uint64_t i = 0; i < count; ++i) {
    DisplayDeviceKey key;
    log(DeviceStep::kNext, i, key, result);
    if (!Context::DisplayDevice(i, key)) continue;
    log(DeviceStep::kFound, i, key, result);
    const bool made = makeContext(key, result);
    log(made ? DeviceStep::kMade : DeviceStep::kFailed, i, key, result);
  }
  return result;
}
