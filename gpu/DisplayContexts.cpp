#include "gpu/DisplayContexts.h"

#include <boost/make_shared.hpp>

#include "log/Diagnostic.h"

namespace {

/// Whether the device gives a context; else its failure is noted.
bool makeContext(const ZOR::OGL::DisplayDeviceKey& key, DisplayContexts& result) {
  try {
    result.contexts.push_back({key, boost::make_shared<ZOR::OGL::ContextOffscreen>(key)});
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
  const uint64_t count = ZOR::OGL::Context::NumDisplayDevice();
  AdapterDiagnostic(834)("zorNumDevices=", count);
  for (uint64_t i = 0; i < count; ++i) {
    ZOR::OGL::DisplayDeviceKey key;
    log(DeviceStep::Next, i, key, result);
    if (!ZOR::OGL::Context::DisplayDevice(i, key)) continue;
    log(DeviceStep::Found, i, key, result);
    const bool made = makeContext(key, result);
    log(made ? DeviceStep::Made : DeviceStep::Failed, i, key, result);
  }
  return result;
}
