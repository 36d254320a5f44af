// A libEGL, with the OpenGL of its contexts, that is as FAKE_EGL says. Its folder comes first in
// the loader's path. FAKE_EGL is a list of "key=value;", of which those before the first device are
// about the library and its default display:
//
//     device=PATH      one more display device: a node's path, "software", or nothing
//     render           the path is that of a render node
//     gone             not listed when the devices are asked for again
//     lists            EGL can list its devices, even if it has none
//     fail=CALL        the call fails with EGL_NOT_INITIALIZED
//     hang=CALL        the call never returns; "load" is the loading of the library
//     crash=CALL  abort=CALL  overflow=CALL       the call ends the process: by a bad address, by
//                      abort(), by a stack that runs over
//     vendor= renderer= version= extensions=      the context's texts
//
// What a careful program would not do is told on standard error.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// Library or device; stands for its handle, its display, its surfaces and its contexts as well.
using Settings = std::map<std::string, std::string>;

Settings library;
std::vector<Settings*> devices;
thread_local Settings* current = nullptr;

int useUpTheStack(volatile char* caller) {
  volatile char frame[4096];
  frame[0] = *caller;
  if (frame[0] == 0) return 0;
  return useUpTheStack(frame) + frame[0];
}

/// False where the call is to fail.
bool call(const char* name, Settings& of) {
  static volatile int* volatile nowhere = nullptr;
  volatile char base = 1;
  if (of["crash"] == name) *nowhere = 1;
  if (of["abort"] == name) std::abort();
  if (of["overflow"] == name) useUpTheStack(&base);
  // As a driver does that waits for its hardware: signals don't end the wait.
  while (of["hang"] == name) pause();
  return of["fail"] != name;
}

struct AtLoading {
  AtLoading() {
    Settings* about = &library;
    std::istringstream list(std::getenv("FAKE_EGL"));
    for (std::string item; std::getline(list, item, ';');) {
      const size_t sign = std::min(item.find('='), item.size());
      const std::string key = item.substr(0, sign);
      if (key == "device") devices.push_back(about = new Settings{{"version", "3.0 Fake"}});
      (*about)[key] = sign < item.size() ? item.substr(sign + 1) : "";
    }
    library.emplace("version", "3.0 Fake");
    call("load", library);
  }
} atLoading;

Settings& settings(void* handle) {
  return *static_cast<Settings*>(handle);
}

// Surfaces of contexts that are gone.
int surfacesOwed = 0;

void complain(bool wrong, const char* what) {
  if (wrong) std::fprintf(stderr, "libEGL: %s\n", what);
}

void* handleIf(bool ok, Settings& of) {
  return ok ? &of : nullptr;
}

EGLBoolean queryDevices(EGLint room, EGLDeviceEXT* out, EGLint* count) {
  static bool again = false;
  *count = 0;
  for (Settings* device : devices) {
    if (again && device->count("gone")) continue;
    if (out && *count == room) break;
    if (out) out[*count] = device;
    ++*count;
  }
  again = out;
  return call("eglQueryDevicesEXT", library);
}

const char* queryDeviceString(EGLDeviceEXT handle, EGLint name) {
  const Settings& device = settings(handle);
  const std::string& path = device.at("device");
  const bool asksForRenderNode = name == EGL_DRM_RENDER_NODE_FILE_EXT;
  if (name != EGL_EXTENSIONS)
    return asksForRenderNode == (device.count("render") > 0) ? path.c_str() : nullptr;
  if (path.empty()) return "EGL_NV_device_cuda";
  if (path == "software") return "EGL_MESA_device_software";
  return device.count("render") ? "EGL_EXT_device_drm_render_node" : "EGL_EXT_device_drm";
}

EGLDisplay getPlatformDisplay(EGLenum, void* handle, const EGLint*) {
  return handleIf(call("eglGetPlatformDisplayEXT", settings(handle)), settings(handle));
}

const GLubyte* getString(GLenum name) {
  const char* key = name == GL_VENDOR     ? "vendor"
                    : name == GL_RENDERER ? "renderer"
                    : name == GL_VERSION  ? "version"
                                          : "extensions";
  return reinterpret_cast<const GLubyte*>((*current)[key].c_str());
}

long nothing() {
  return 0;
}

using Function = void (*)();
template <class T>
Function plain(T* function) {
  return reinterpret_cast<Function>(function);
}

}  // namespace

extern "C" {

EGLBoolean eglBindAPI(EGLenum) {
  return call("eglBindAPI", library);
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
  return handleIf(call("eglGetDisplay", library), library);
}
EGLint eglGetError() {
  return EGL_NOT_INITIALIZED;
}
Function eglGetProcAddress(const char* name) {
  static const std::map<std::string, Function> table = {
      {"eglQueryDevicesEXT", plain(queryDevices)},
      {"eglQueryDeviceStringEXT", plain(queryDeviceString)},
      {"eglGetPlatformDisplayEXT", plain(getPlatformDisplay)},
      {"glGetString", plain(getString)}};
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
  const bool lists = library.count("lists") || !devices.empty();
  return lists ? "EGL_EXT_device_base EGL_EXT_platform_device" : "";
}
}
