#include "GPUImplLinux.h"

#include <boost/make_shared.hpp>
#include <iostream>

#include "GLDriverText.h"
#include "GPU.h"
#include "SnifferLog.h"
#include "core/Exceptions.h"

using ZOR::OGL::Context;
using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::DisplayDeviceKey;

namespace {

/// GL_VERSION, whose enumerant is fixed by OpenGL 1.0.
constexpr unsigned kGLVersion = 0x1F02;

struct DeviceContext {
  DisplayDeviceKey key;
  boost::shared_ptr<ContextOffscreen> context;
};

bool isSoftware(const DisplayDeviceKey& key) {
  return key.deviceName == ZOR::OGL::kSoftwareDeviceName;
}

std::vector<DeviceContext> createDeviceContexts() {
  std::vector<DeviceContext> contexts;
  const uint64_t count = Context::NumDisplayDevice();
  SnifferLog{}("zorNumDevices=", count);
  for (uint64_t i = 0; i < count; ++i) {
    DisplayDeviceKey key;
    if (!Context::DisplayDevice(i, key)) continue;
    try {
      contexts.push_back({key, boost::make_shared<ContextOffscreen>(key)});
      SnifferLog{}("zorDevice[", i, "]=", key.deviceName, ' ', key.deviceString);
    } catch (const ZOR::ExceptionBase& e) {
      SnifferLog{}("no context on zorDevice[", i, "]=", key.deviceName, ": ", e.what());
    }
  }
  return contexts;
}

/// A software renderer stands in only where no hardware answers.
void preferHardware(std::vector<DeviceContext>& contexts) {
  std::vector<DeviceContext> hardware;
  for (const DeviceContext& entry : contexts)
    if (!isSoftware(entry.key)) hardware.push_back(entry);
  if (!hardware.empty()) contexts.swap(hardware);
}

void reportFailure(const std::string& text) {
  SnifferLog{}(text);
  std::cerr << text << std::endl;
}

}  // namespace

GPUList GPUImplLinux::DoGetGPUs() {
  GPUList gpus;
  try {
    std::vector<DeviceContext> contexts = createDeviceContexts();
    preferHardware(contexts);
    for (const DeviceContext& entry : contexts) {
      const auto impl = boost::make_shared<GPUImplLinux>();
      impl->fContext = entry.context;
      impl->glContext = entry.context;
      gpus.push_back(boost::make_shared<GLGPU>(impl));
    }
    if (gpus.empty()) SnifferLog{}("no OpenGL device gives a context");
  } catch (const std::exception& e) {
    reportFailure(std::string("DoGetGPUs fails with exception: ") + e.what());
  } catch (...) {
    reportFailure("DoGetGPUs fails with exception");
  }
  return gpus;
}

std::string GPUImplLinux::DoGetGLDriverVersion() {
  return DriverVersionFromGLVersion(glText(kGLVersion));
}

std::string GPUImplLinux::DoGetGLDriver() {
  return fContext->driverName();
}
