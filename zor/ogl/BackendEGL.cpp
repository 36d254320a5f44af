#include <optional>
#include <set>

#include "core/Exceptions.h"
#include "ogl/Backend.h"
#include "ogl/EGLApi.h"

namespace ZOR::OGL {
namespace {

class EGLNativeContext;

/// Stands for the display of a machine whose EGL can't list its devices.
constexpr char kDefaultDisplay[] = "default";

std::string textOrEmpty(const char* text) {
  return text ? text : "";
}

/// Contexts that are still alive when the process ends. The driver tears itself down in exit
/// handlers that it set up after our own long-lived objects were made, that is, before those are
/// destroyed; what they hold is therefore released here, while the driver still stands.
class LiveContexts {
 public:
  ~LiveContexts();
  std::set<EGLNativeContext*> all;
};

LiveContexts& liveContexts() {
  static LiveContexts contexts;
  return contexts;
}

class EGLNativeContext : public NativeContext {
 public:
  EGLNativeContext(const EGLApi& egl, EGLDisplay display);
  ~EGLNativeContext() override {
    if (fReleased) return;
    release();
    liveContexts().all.erase(this);
  }

  void makeCurrent() override {
    if (!fEGL.eglMakeCurrent(fDisplay, fSurface, fSurface, fContext)) fEGL.fail("eglMakeCurrent");
  }

  std::string driverName() const override {
    return textOrEmpty(fEGL.eglGetDisplayDriverName ? fEGL.eglGetDisplayDriverName(fDisplay)
                                                    : nullptr);
  }

  void release() noexcept;

 private:
  // Delegated to, so that the destructor cleans up after a constructor that throws half-way.
  struct Nothing {};
  EGLNativeContext(const EGLApi& egl, EGLDisplay display, Nothing) : fEGL(egl), fDisplay(display) {}
  EGLConfig chooseConfig() const;

  const EGLApi& fEGL;
  EGLDisplay fDisplay;
  EGLContext fContext = EGL_NO_CONTEXT;
  EGLSurface fSurface = EGL_NO_SURFACE;
  bool fReleased = false;
};

LiveContexts::~LiveContexts() {
  for (EGLNativeContext* context : all) context->release();
}

EGLNativeContext::EGLNativeContext(const EGLApi& egl, EGLDisplay display)
    : EGLNativeContext(egl, display, Nothing()) {
  // The display is never terminated: EGL hands every user of a device the same one.
  if (!egl.eglInitialize(display, nullptr, nullptr)) egl.fail("eglInitialize");
  liveContexts().all.insert(this);
  if (!egl.eglBindAPI(EGL_OPENGL_API)) egl.fail("eglBindAPI");
  const EGLConfig config = chooseConfig();
  // Without attributes a driver gives the highest version that still has the fixed functions.
  fContext = egl.eglCreateContext(display, config, EGL_NO_CONTEXT, nullptr);
  if (fContext == EGL_NO_CONTEXT) egl.fail("eglCreateContext");
  const EGLint size[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
  fSurface = egl.eglCreatePbufferSurface(display, config, size);
  if (fSurface == EGL_NO_SURFACE) egl.fail("eglCreatePbufferSurface");
}

void EGLNativeContext::release() noexcept {
  if (fContext != EGL_NO_CONTEXT) {
    if (fEGL.eglGetCurrentContext() == fContext)
      fEGL.eglMakeCurrent(fDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    fEGL.eglDestroyContext(fDisplay, fContext);
  }
  if (fSurface != EGL_NO_SURFACE) fEGL.eglDestroySurface(fDisplay, fSurface);
  fReleased = true;
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

class BackendEGL : public Backend {
 public:
  void initialize() override { api(); }
  std::vector<DisplayDeviceKey> displayDevices() override;
  DisplayDeviceKey primaryDisplayDevice() override;
  std::unique_ptr<NativeContext> createContext(const DisplayDeviceKey& key) override;
  std::function<void()> saveCurrent() override;
  Core::EntryPoint entryPoint(const char* name) override { return api().eglGetProcAddress(name); }

 private:
  const EGLApi& api() {
    if (!fEGL) fEGL.emplace();
    return *fEGL;
  }
  bool enumeratesDevices();
  std::vector<EGLDeviceEXT> devices();
  EGLDisplay display(const DisplayDeviceKey& key);
  DisplayDeviceKey describe(EGLDeviceEXT device, size_t index);

  std::optional<EGLApi> fEGL;
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

std::vector<EGLDeviceEXT> BackendEGL::devices() {
  EGLint count = 0;
  if (!api().eglQueryDevicesEXT(0, nullptr, &count)) api().fail("eglQueryDevicesEXT");
  std::vector<EGLDeviceEXT> devices(static_cast<size_t>(count));
  if (!api().eglQueryDevicesEXT(count, devices.data(), &count)) api().fail("eglQueryDevicesEXT");
  devices.resize(static_cast<size_t>(count));
  return devices;
}

DisplayDeviceKey BackendEGL::describe(EGLDeviceEXT device, size_t index) {
  const char* extensions = api().eglQueryDeviceStringEXT(device, EGL_EXTENSIONS);
  const auto text = [&](const char* extension, EGLint name) {
    return HasEGLExtension(extensions, extension)
               ? textOrEmpty(api().eglQueryDeviceStringEXT(device, name))
               : std::string();
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

std::vector<DisplayDeviceKey> BackendEGL::displayDevices() {
  if (!enumeratesDevices()) return {{kDefaultDisplay, "", kDefaultDisplay}};
  std::vector<DisplayDeviceKey> keys;
  for (EGLDeviceEXT device : devices()) keys.push_back(describe(device, keys.size()));
  return keys;
}

DisplayDeviceKey BackendEGL::primaryDisplayDevice() {
  const std::vector<DisplayDeviceKey> keys = displayDevices();
  if (keys.empty()) throw LogicalException("eglQueryDevicesEXT: no device");
  return keys.front();
}

EGLDisplay BackendEGL::display(const DisplayDeviceKey& key) {
  if (key.displayID == kDefaultDisplay) {
    const EGLDisplay display = api().eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (display == EGL_NO_DISPLAY) api().fail("eglGetDisplay");
    return display;
  }
  const std::vector<EGLDeviceEXT> all = devices();
  const size_t index = std::stoul(key.displayID);
  if (index >= all.size()) throw LogicalException("eglQueryDevicesEXT: the device is gone");
  const EGLDisplay display =
      api().eglGetPlatformDisplayEXT(EGL_PLATFORM_DEVICE_EXT, all[index], nullptr);
  if (display == EGL_NO_DISPLAY) api().fail("eglGetPlatformDisplayEXT");
  return display;
}

std::unique_ptr<NativeContext> BackendEGL::createContext(const DisplayDeviceKey& key) {
  return std::make_unique<EGLNativeContext>(api(), display(key));
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
