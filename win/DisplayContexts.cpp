#include "win/DisplayContexts.h"

#include <boost/make_shared.hpp>

#include "log/Diagnostic.h"
#include "win/DescFormat.h"

using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::DisplayDeviceKey;

namespace {

/// Null when the driver refuses.
boost::shared_ptr<ContextOffscreen> createContext(const DisplayDeviceKey& key) {
  try {
    return boost::make_shared<ContextOffscreen>(key);
  } catch (const std::exception& exception) {
    Diagnostic{}("no context: ", exception.what());
  } catch (...) {
    Diagnostic{}("no context");
  }
  PrintDiagnostic(AdapterDiagnostic(853), "ContextOffscreen exception caught and ignored.");
  return {};
}

}  // namespace

DisplayContexts CreateDisplayContexts() {
  DisplayContexts contexts;
  const uint64_t count = ZOR::OGL::Context::NumDisplayDevice();
  AdapterDiagnostic(834)("zorNumDevices=", count);
  for (uint64_t i = 0; i < count; ++i) {
    AdapterDiagnostic(837)("zorDeviceIndex=", i);
    DisplayDeviceKey key;
    if (!ZOR::OGL::Context::DisplayDevice(i, key)) continue;
    AdapterDiagnostic(843)("creating ContextOffscreen for ", Formatted(FormatDisplayDevice, key));
    const auto context = createContext(key);
    if (!context) continue;
    if (const std::string remark = context->remark(); !remark.empty())
      Diagnostic{}("zorDevice[", i, "] context: ", remark);
    AdapterDiagnostic(846)("zorDevice[", i, "]=", Formatted(FormatDisplayDevice, key));
    contexts[key.deviceString] = {context, key};
  }
  return contexts;
}
