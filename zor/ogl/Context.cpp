#include "zor/ogl/Context.h"

#include "zor/ogl/Backend.h"

namespace ZOR::OGL {

uint64_t Context::NumDisplayDevice() {
  return Backend::Instance().displayDevices().size();
}

bool Context::DisplayDevice(uint64_t index, DisplayDeviceKey& key) {
  const std::vector<DisplayDeviceKey> devices = Backend::Instance().displayDevices();
  if (index >= devices.size()) return false;
  key = devices[index];
  return !deviceFilter || deviceFilter(key);
}

DisplayDeviceKey Context::PrimaryDisplayDevice() {
  return Backend::Instance().primaryDisplayDevice();
}

}  // namespace ZOR::OGL
