#include <windows.h>

#include <optional>

#include "zor/core/SystemTexts_win.h"
#include "zor/ogl/Backend.h"
#include "zor/ogl/HiddenWindow_win.h"

namespace ZOR::OGL {
namespace {

/// Every function of opengl32.dll that is called and no OpenGL.
#define ZOR_WGL_ENTRY_POINTS(X) \
  X(wglCreateContext)           \
  X(wglDeleteContext)           \
  X(wglGetCurrentContext)       \
  X(wglGetCurrentDC)            \
  X(wglGetProcAddress)          \
  X(wglMakeCurrent)

/// Those functions, under their own names.
struct WGLApi {
  /// Throws LogicalException with the system's text or the name of the missing function.
  WGLApi() : library("opengl32.dll") {
#define ZOR_WGL_LOAD(name) library.require(#name, name);
    ZOR_WGL_ENTRY_POINTS(ZOR_WGL_LOAD)
#undef ZOR_WGL_LOAD
  }

  Core::DynamicLibrary library;
#define ZOR_WGL_MEMBER(name) decltype(&::name) name;
  ZOR_WGL_ENTRY_POINTS(ZOR_WGL_MEMBER)
#undef ZOR_WGL_MEMBER
};

class WGLNativeContext : public NativeContext {
 public:
  WGLNativeContext(const WGLApi& wgl, HiddenWindow::Kind kind, const std::string& deviceName)
      : fWGL(wgl), fWindow(kind, deviceName), fContext(wgl.wglCreateContext(fWindow.dc())) {
    if (!fContext) Core::ThrowSystemError("wglCreateContext");
    if (!fWindow.drawnByDriver())
      fRemark = "no driver has a pixel format for it, the system's generic renderer draws";
  }

  ~WGLNativeContext() override {
    if (fWGL.wglGetCurrentContext() == fContext) fWGL.wglMakeCurrent(nullptr, nullptr);
    fWGL.wglDeleteContext(fContext);
  }

  void makeCurrent() override {
    if (!fWGL.wglMakeCurrent(fWindow.dc(), fContext)) Core::ThrowSystemError("wglMakeCurrent");
  }

  std::string remark() const override { return fRemark; }

  bool drawnByDriver() const { return fWindow.drawnByDriver(); }
  void addRemark(const std::string& remark) {
    fRemark = fRemark.empty() ? remark : remark + "; " + fRemark;
  }

 private:
  const WGLApi& fWGL;
  HiddenWindow fWindow;
  HGLRC fContext;
  std::string fRemark;
};

/// The adapters whose desktop a window can lie on, in the system's order.
std::vector<DISPLAY_DEVICEW> desktopDevices() {
  std::vector<DISPLAY_DEVICEW> devices;
  DISPLAY_DEVICEW device{};
  device.cb = sizeof device;
  for (DWORD i = 0; EnumDisplayDevicesW(nullptr, i, &device, 0); ++i)
    if (device.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP) devices.push_back(device);
  return devices;
}

DisplayDeviceKey keyOf(const DISPLAY_DEVICEW& device) {
  return {Core::Utf8(&device.DeviceName[0]), Core::EscapedAscii(&device.DeviceString[0]),
          Core::Utf8(&device.DeviceID[0])};
}

class BackendWGL : public Backend {
 public:
  void initialize() override { api(); }

  std::vector<DisplayDeviceKey> displayDevices() override {
    std::vector<DisplayDeviceKey> keys;
    for (const DISPLAY_DEVICEW& device : desktopDevices()) keys.push_back(keyOf(device));
    return keys;
  }

  DisplayDeviceKey primaryDisplayDevice() override {
    for (const DISPLAY_DEVICEW& device : desktopDevices())
      if (device.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) {
        if (!deviceFilter || deviceFilter(keyOf(device))) return keyOf(device);
      }
    throw LogicalException("EnumDisplayDevices: no primary device");
  }

  std::unique_ptr<NativeContext> createContext(const DisplayDeviceKey& key) override {
    std::unique_ptr<WGLNativeContext> messageOnly;
    std::string refusal;
    try {
      messageOnly = tryContext(HiddenWindow::Kind::MessageOnly, key);
      if (messageOnly->drawnByDriver()) return messageOnly;
      refusal = messageOnly->remark();
    } catch (const LogicalException& exception) {
      refusal = exception.what();
    }
    try {
      auto topLevel = tryContext(HiddenWindow::Kind::TopLevel, key);
      if (messageOnly && !topLevel->drawnByDriver()) return messageOnly;
      topLevel->addRemark("a top-level window, for a message-only one was refused: " + refusal);
      return topLevel;
    } catch (const LogicalException&) {
      if (!messageOnly) throw;
      return messageOnly;
    }
  }

  std::function<void()> saveCurrent() override {
    const WGLApi& wgl = api();
    return [&wgl, dc = wgl.wglGetCurrentDC(), context = wgl.wglGetCurrentContext()] {
      wgl.wglMakeCurrent(dc, context);
    };
  }

  Core::EntryPoint entryPoint(const char* name) override {
    // The driver gives what is newer than OpenGL 1.1, the library itself the rest. Some drivers
    // answer with small numbers for null.
    // https://www.khronos.org/opengl/wiki/Load_OpenGL_Functions#Windows
    const auto address = reinterpret_cast<Core::EntryPoint>(api().wglGetProcAddress(name));
    const auto number = reinterpret_cast<INT_PTR>(address);
    return number >= -1 && number <= 3 ? api().library.symbol(name) : address;
  }

  void answerMessages() override { HiddenWindow::AnswerMessages(); }

 private:
  /// A context that can also be made current: some drivers refuse a window only then.
  std::unique_ptr<WGLNativeContext> tryContext(HiddenWindow::Kind kind,
                                               const DisplayDeviceKey& key) {
    auto context = std::make_unique<WGLNativeContext>(api(), kind, key.deviceName);
    const std::function<void()> restore = saveCurrent();
    context->makeCurrent();
    restore();
    return context;
  }

  const WGLApi& api() {
    if (!fWGL) fWGL.emplace();
    return *fWGL;
  }

  std::optional<WGLApi> fWGL;
};

}  // namespace

Backend& SystemBackend() {
  // Never destroyed: contexts that live to the end of the process still need it.
  static Backend& backend = *new BackendWGL;
  return backend;
}

}  // namespace ZOR::OGL
