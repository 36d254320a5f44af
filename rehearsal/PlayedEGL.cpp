#include "rehearsal/PlayedEGL.h"

#include <GL/gl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "rehearsal/Actions.h"

namespace {

/// Library or device; stands for its handle, its display, its surfaces and its contexts as well.
struct Settings {
  std::map<std::string, std::string> values;
  std::vector<rehearsal::Fault> faults;
  std::map<std::string, std::uint64_t> calls;

  bool Has(const char* key) const { return values.count(key) != 0; }
};

struct Machine {
  Settings library;
  std::vector<Settings*> devices;
};

/// Asked for while the program loads, before the order of our own files is known.
Machine& machine() {
  static Machine& made = *new Machine;
  return made;
}

thread_local Settings* current = nullptr;

/// False where the call is to fail.
bool call(const char* name, Settings& of) {
  const std::uint64_t number = ++of.calls[name];
  for (const rehearsal::Fault& fault : of.faults)
    if (fault.function == name && fault.Strikes(number) && rehearsal::TakeStrike())
      return rehearsal::ActOnProcess(fault);
  return true;
}

void read(const char* text) {
  Settings* about = &machine().library;
  std::istringstream list(text);
  for (std::string item; std::getline(list, item, ';');) {
    const size_t sign = std::min(item.find('='), item.size());
    const std::string key = item.substr(0, sign);
    if (key == "device")
      machine().devices.push_back(about = new Settings{{{"version", "3.0 Played"}}, {}, {}});
    const std::string value = sign < item.size() ? item.substr(sign + 1) : "";
    about->values[key] = value;
    if (key != "fault") continue;
    for (const rehearsal::Fault& fault : rehearsal::ParseFaults(value))
      about->faults.push_back(fault);
  }
  machine().library.values.emplace("version", "3.0 Played");
}

Settings& settings(void* handle) {
  return *static_cast<Settings*>(handle);
}

/// Surfaces of contexts that are gone.
int surfacesOwed = 0;

/// What a careful program would not do is told on standard error.
void complain(bool wrong, const char* what) {
  if (wrong) std::fprintf(stderr, "libEGL: %s\n", what);
}

void* handleIf(bool ok, Settings& of) {
  return ok ? &of : nullptr;
}

EGLBoolean queryDevices(EGLint room, EGLDeviceEXT* out, EGLint* count) {
  static bool again = false;
  *count = 0;
  for (Settings* device : machine().devices) {
    if (again && device->Has("gone")) continue;
    if (out && *count == room) break;
    if (out) out[*count] = device;
    ++*count;
  }
  again = out;
  return call("eglQueryDevicesEXT", machine().library);
}

const char* queryDeviceString(EGLDeviceEXT handle, EGLint name) {
  const Settings& device = settings(handle);
  const std::string& path = device.values.at("device");
  const bool asksForRenderNode = name == EGL_DRM_RENDER_NODE_FILE_EXT;
  if (name != EGL_EXTENSIONS)
    return asksForRenderNode == device.Has("render") ? path.c_str() : nullptr;
  if (path.empty()) return "EGL_NV_device_cuda";
  if (path == "software") return "EGL_MESA_device_software";
  return device.Has("render") ? "EGL_EXT_device_drm_render_node" : "EGL_EXT_device_drm";
}

EGLDisplay getPlatformDisplay(EGLenum, void* handle, const EGLint*) {
  return handleIf(call("eglGetPlatformDisplayEXT", settings(handle)), settings(handle));
}

const GLubyte* getString(GLenum name) {
  const char* key = name == GL_VENDOR     ? "vendor"
                    : name == GL_RENDERER ? "renderer"
                    : name == GL_VERSION  ? "version"
                                          : "extensions";
  return reinterpret_cast<const GLubyte*>(current->values[key].c_str());
}

long nothing() {
  return 0;
}

using Function = void (*)();
template <class T>
Function plain(T* function) {
  return reinterpret_cast<Function>(function);
}

/// Those that the library exports, under their own names.
namespace played {

EGLBoolean eglBindAPI(EGLenum) {
  return call("eglBindAPI", machine().library);
}
EGLBoolean eglChooseConfig(EGLDisplay display, const EGLint*, EGLConfig* out, EGLint,
                           EGLint* count) {
  *out = display;
  *count = 1;
  return call("eglChooseConfig", settings(display));
}
EGLContext eglCreateContext(EGLDisplay display, EGLConfig, EGLContext, const EGLint*) {
  return handleIf(call("eglCreateContext", settings(display)), settings(display));
}
EGLSurface eglCreatePbufferSurface(EGLDisplay display, EGLConfig, const EGLint*) {
  complain(surfacesOwed > 0, "a surface was left behind by its context");
  return handleIf(call("eglCreatePbufferSurface", settings(display)), settings(display));
}
EGLBoolean eglDestroyContext(EGLDisplay, EGLContext) {
  ++surfacesOwed;
  return EGL_TRUE;
}
EGLBoolean eglDestroySurface(EGLDisplay, EGLSurface) {
  if (surfacesOwed > 0) --surfacesOwed;
  return EGL_TRUE;
}
EGLContext eglGetCurrentContext() {
  return current;
}
EGLDisplay eglGetCurrentDisplay() {
  return current;
}
EGLSurface eglGetCurrentSurface(EGLint) {
  return current;
}
EGLDisplay eglGetDisplay(EGLNativeDisplayType) {
  return handleIf(call("eglGetDisplay", machine().library), machine().library);
}
EGLint eglGetError() {
  return EGL_NOT_INITIALIZED;
}
Function eglGetProcAddress(const char* name) {
  static const std::map<std::string, Function> table = {{"glGetString", plain(getString)}};
  const auto found = table.find(name);
  if (found != table.end()) return found->second;
  return std::strncmp(name, "egl", 3) == 0 ? nullptr : plain(nothing);
}
EGLBoolean eglInitialize(EGLDisplay display, EGLint*, EGLint*) {
  return call("eglInitialize", settings(display));
}
EGLBoolean eglMakeCurrent(EGLDisplay, EGLSurface, EGLSurface, EGLContext context) {
  complain(context && current && current != context, "a context takes the place of another one");
  current = static_cast<Settings*>(context);
  return EGL_TRUE;
}
const char* eglQueryString(EGLDisplay, EGLint) {
  const bool lists = machine().library.Has("lists") || !machine().devices.empty();
  return lists ? "EGL_EXT_device_base EGL_EXT_platform_device" : "";
}

}  // namespace played

}  // namespace

EGLFunctions PlayEGL(const char* text) {
  read(text);
  EGLFunctions functions;
#define PLAYED_FILL(name) functions.name = played::name;
  ZOR_EGL_ENTRY_POINTS(PLAYED_FILL)
#undef PLAYED_FILL
  functions.eglGetPlatformDisplayEXT = getPlatformDisplay;
  functions.eglQueryDevicesEXT = queryDevices;
  functions.eglQueryDeviceStringEXT = queryDeviceString;
  return functions;
}
