#include <exception>
#include <optional>

#include "zor/ogl/Backend.h"
#include "zor/ogl/EGLApi.h"

namespace ZOR::OGL {
namespace {

/// Stands for the display of a machine whose EGL can't list its devices.
constexpr char kDefaultDisplay[] = "default";

/// No machine has as many; a larger number is a driver's mistake.
constexpr EGLint kMostDevices = 4096;

class EGLNativeContext : public NativeContext {
 public:
  EGLNativeContext(const EGLApi& egl, EGLDisplay display);
  ~EGLNativeContext() override;

  void makeCurrent() override {
    if (!fEGL.eglMakeCurrent(fDisplay, fSurface, fSurface, fContext)) fEGL.fail("eglMakeCurrent");
  }

  std::string driverName() const override {
    if (!fEGL.eglGetDisplayDriverName) return {};
    return Core::TextOrEmpty(fEGL.eglGetDisplayDriverName(fDisplay));
  }

 private:
  // Delegated to, so that the destructor cleans up after a constructor that throws half-way.
  struct Nothing {};
  EGLNativeContext(const EGLApi& egl, EGLDisplay display, Nothing) : fEGL(egl), fDisplay(display) {}
  EGLConfig chooseConfig() const;

  const EGLApi& fEGL;
  EGLDisplay fDisplay;
  EGLContext fContext = EGL_NO_CONTEXT;
  EGLSurface fSurface = EGL_NO_SURFACE;
};

EGLNativeContext::EGLNativeContext(const EGLApi& egl, EGLDisplay display)
    : EGLNativeContext(egl, display, Nothing()) {
  // The display is never terminated: EGL hands every user of a device the same one.
  if (!egl.eglInitialize(display, nullptr, nullptr)) egl.fail("eglInitialize");
  if (!egl.eglBindAPI(EGL_OPENGL_API)) egl.fail("eglBindAPI");
  const EGLConfig config = chooseConfig();
  // Without attributes a driver gives the highest version that still has the fixed functions.
  fContext = egl.eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
  if (fContext == EGL_NO_CONTEXT) egl.fail("eglCreateContext");
  const EGLint size[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
  fSurface = egl.eglCreatePbufferSurface(display, config, size);
  if (fSurface == EGL_NO_SURFACE) egl.fail("eglCreatePbufferSurface");
}

EGLNativeContext::~EGLNativeContext() {
  try {
    if (fContext != EGL_NO_CONTEXT) {
      if (fEGL.eglGetCurrentContext() == fContext)
        fEGL.eglMakeCurrent(fDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
      fEGL.eglDestroyContext(fDisplay, fContext);
    }
    if (fSurface != EGL_NO_SURFACE) fEGL.eglDestroySurface(fDisplay, fSurface);
  } catch (...) {
    // A driver that throws through its C interface must not end the program here.
  }
}

EGLConfig EGLNativeContext::chooseConfig() const {
  const EGLint wanted[] = {EGL_SURFACE_TYPE,
                           EGL_PBUFFER_BIT,
                           EGL_RENDERABLE_TYPE,
                           EGL_OPENGL_BIT,
                           EGL_RED_SIZE,
                           8,
                           EGL_GREEN_SIZE,
                           8,
                           EGL_BLUE_SIZE,
                           8,
                           EGL_NONE};
  EGLConfig config = nullptr;
  EGLint count = 0;
  if (!fEGL.eglChooseConfig(fDisplay, wanted, &config, 1, &count)) fEGL.fail("eglChooseConfig");
  if (count == 0) throw LogicalException("eglChooseConfig: no configuration for OpenGL");
  return config;
}

/// Devices are known by handles, which stay theirs for the life of the process
/// (EGL_EXT_device_base), while a device that goes away moves the others up in EGL's list. So the
/// list is read once, and asking for it is slow: Mesa looks at every card of the machine.
class BackendEGL : public Backend {
 public:
  void initialize() override { api(); }
  std::vector<DisplayDeviceKey> displayDevices() override;
  DisplayDeviceKey primaryDisplayDevice() override;
  std::unique_ptr<NativeContext> createContext(const DisplayDeviceKey& key) override;
  std::function<void()> saveCurrent() override;
  Core::EntryPoint entryPoint(const char* name) override { return api().eglGetProcAddress(name); }

 private:
  struct Device {
    EGLDeviceEXT handle;  // EGL_NO_DEVICE_EXT where EGL can't list its devices
    DisplayDeviceKey key;
  };

  const EGLApi& api() {
    if (!fEGL) fEGL.emplace();
    return *fEGL;
  }
  bool enumeratesDevices();
  const std::vector<Device>& devices();
  std::vector<EGLDeviceEXT> queryDevices();
  EGLDisplay display(const Device& device);
  DisplayDeviceKey describe(EGLDeviceEXT device, size_t index);

  std::optional<EGLApi> fEGL;
  std::optional<std::vector<Device>> fDevices;
  /// The primary device's first context waits here for the one who asks for it.
  std::unique_ptr<NativeContext> fPrimaryContext;
  std::string fPrimaryID;
};

bool BackendEGL::enumeratesDevices() {
  const char* client = api().eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  const bool enumeration = HasEGLExtension(client, "EGL_EXT_device_base") ||
                           (HasEGLExtension(client, "EGL_EXT_device_enumeration") &&
                            HasEGLExtension(client, "EGL_EXT_device_query"));
  return enumeration && HasEGLExtension(client, "EGL_EXT_platform_device") &&
         api().eglQueryDevicesEXT && api().eglQueryDeviceStringEXT &&
         api().eglGetPlatformDisplayEXT;
}

std::vector<EGLDeviceEXT> BackendEGL::queryDevices() {
  // Asking for the number first would make the driver look twice.
  std::vector<EGLDeviceEXT> devices(64);
  for (EGLint count = 0;; devices.resize(devices.size() * 2)) {
    const auto room = static_cast<EGLint>(devices.size());
    if (!api().eglQueryDevicesEXT(room, devices.data(), &count)) api().fail("eglQueryDevicesEXT");
    if (count < 0 || count > kMostDevices || room > kMostDevices)
      throw LogicalException("eglQueryDevicesEXT: " + std::to_string(count) + " devices");
    if (count >= room) continue;
    devices.resize(static_cast<size_t>(count));
    return devices;
  }
}

DisplayDeviceKey BackendEGL::describe(EGLDeviceEXT device, size_t index) {
  const char* extensions = api().eglQueryDeviceStringEXT(device, EGL_EXTENSIONS);
  const auto text = [&](const char* extension, EGLint name) {
    return HasEGLExtension(extensions, extension)
               ? Core::TextOrEmpty(api().eglQueryDeviceStringEXT(device, name))
               : "";
  };
  DisplayDeviceKey key;
  key.displayID = std::to_string(index);
  key.deviceName = text("EGL_EXT_device_drm", EGL_DRM_DEVICE_FILE_EXT);
  if (key.deviceName.empty())
    key.deviceName = text("EGL_EXT_device_drm_render_node", EGL_DRM_RENDER_NODE_FILE_EXT);
  if (key.deviceName.empty() && HasEGLExtension(extensions, "EGL_MESA_device_software"))
    key.deviceName = kSoftwareDeviceName;
  key.deviceString = text("EGL_EXT_device_query_name", EGL_RENDERER_EXT);
  return key;
}

const std::vector<BackendEGL::Device>& BackendEGL::devices() {
  if (fDevices) return *fDevices;
  std::vector<Device> devices;
  if (enumeratesDevices())
    for (EGLDeviceEXT handle : queryDevices())
      devices.push_back({handle, describe(handle, devices.size())});
  else
    devices.push_back({EGL_NO_DEVICE_EXT, {kDefaultDisplay, "", "0"}});
  return fDevices.emplace(std::move(devices));
}

std::vector<DisplayDeviceKey> BackendEGL::displayDevices() {
  std::vector<DisplayDeviceKey> keys;
  for (const Device& device : devices()) keys.push_back(device.key);
  return keys;
}

DisplayDeviceKey BackendEGL::primaryDisplayDevice() {
  std::exception_ptr firstFailure;
  for (const Device& device : devices()) {
    if (deviceFilter && !deviceFilter(device.key)) continue;
    try {
      fPrimaryContext = createContext(device.key);
      fPrimaryID = device.key.displayID;
      return device.key;
    } catch (const LogicalException&) {
      if (!firstFailure) firstFailure = std::current_exception();
    }
  }
  if (firstFailure) std::rethrow_exception(firstFailure);
  throw LogicalException("eglQueryDevicesEXT: no device");
}

EGLDisplay BackendEGL::display(const Device& device) {
  if (device.handle == EGL_NO_DEVICE_EXT) {
    const EGLDisplay display = api().eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) api().fail("eglGetDisplay");
    return display;
  }
  const EGLDisplay display =
      api().eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, device.handle, nullptr);
  if (display == EGL_NO_DISPLAY) api().fail("eglGetPlatformDisplayEXT");
  return display;
}

std::unique_ptr<NativeContext> BackendEGL::createContext(const DisplayDeviceKey& key) {
  if (fPrimaryContext && key.displayID == fPrimaryID) return std::move(fPrimaryContext);
  return std::make_unique<EGLNativeContext>(api(),
                                            display(devices().at(std::stoul(key.displayID))));
}

std::function<void()> BackendEGL::saveCurrent() {
  const EGLApi& egl = api();
  const EGLContext context = egl.eglGetCurrentContext();
  const EGLDisplay display = egl.eglGetCurrentDisplay();
  const EGLSurface draw = egl.eglGetCurrentSurface(EGL_DRAW);
  const EGLSurface read = egl.eglGetCurrentSurface(EGL_READ);
  return [=, &egl] {
    if (context != EGL_NO_CONTEXT) {
      egl.eglMakeCurrent(display, draw, read, context);
    } else if (const EGLDisplay last = egl.eglGetCurrentDisplay(); last != EGL_NO_DISPLAY) {
      egl.eglMakeCurrent(last, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
  };
}

}  // namespace

Backend& SystemBackend() {
  // Never destroyed: contexts that live to the end of the process still need it.
  static Backend& backend = *new BackendEGL;
  return backend;
}

}  // namespace ZOR::OGL
