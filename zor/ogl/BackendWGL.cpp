#include <windows.h>

#include <optional>

#include "zor/core/EscapedAscii.h"
#include "zor/core/Exceptions.h"
#include "zor/core/SystemError_win.h"
#include "zor/ogl/Backend.h"
#include "zor/ogl/HiddenWindow_win.h"

namespace ZOR::OGL {
namespace {

/// The functions of opengl32.dll that are no OpenGL, under their own names.
struct WGLApi {
  WGLApi() : library("opengl32.dll") {
    load("wglCreateContext", wglCreateContext);
    load("wglDeleteContext", wglDeleteContext);
    load("wglGetCurrentContext", wglGetCurrentContext);
    load("wglGetCurrentDC", wglGetCurrentDC);
    load("wglGetProcAddress", wglGetProcAddress);
    load("wglMakeCurrent", wglMakeCurrent);
  }

  Core::DynamicLibrary library;
  decltype(&::wglCreateContext) wglCreateContext;
  decltype(&::wglDeleteContext) wglDeleteContext;
  decltype(&::wglGetCurrentContext) wglGetCurrentContext;
  decltype(&::wglGetCurrentDC) wglGetCurrentDC;
  decltype(&::wglGetProcAddress) wglGetProcAddress;
  decltype(&::wglMakeCurrent) wglMakeCurrent;

 private:
  template <class Function>
  void load(const char* name, Function*& function) {
    library.load(name, function);
    if (!function) throw LogicalException(std::string("opengl32.dll has no ") + name);
  }
};

std::string utf8(const wchar_t* text) {
  const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string bytes(static_cast<size_t>(size), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes.data(), size, nullptr, nullptr);
  bytes.pop_back();
  return bytes;
}

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
  return {utf8(&device.DeviceName[0]), Core::EscapedAscii(&device.DeviceString[0]),
          utf8(&device.DeviceID[0])};
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
      messageOnly = tryContext(HiddenWindow::Kind::kMessageOnly, key);
      if (messageOnly->drawnByDriver()) return messageOnly;
      refusal = messageOnly->remark();
    } catch (const LogicalException& exception) {
      refusal = exception.what();
    }
    try {
      auto topLevel = tryContext(HiddenWindow::Kind::kTopLevel, key);
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
