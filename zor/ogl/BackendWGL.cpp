#include <windows.h>

#include <algorithm>
#include <optional>

#include "core/Exceptions.h"
#include "core/SystemError_win.h"
#include "ogl/Backend.h"

namespace ZOR::OGL {
namespace {

[[noreturn]] void fail(const char* call) {
  throw LogicalException(Core::SystemErrorText(call));
}

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

std::wstring utf16(const std::string& text) {
  const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  if (size <= 1) return {};
  std::wstring units(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, units.data(), size);
  units.pop_back();
  return units;
}

const wchar_t* windowClass() {
  constexpr const wchar_t* kName = L"gpuprobe";
  static const ATOM registered = [] {
    WNDCLASSW description{};
    description.style = CS_OWNDC;
    description.lpfnWndProc = DefWindowProcW;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = kName;
    return RegisterClassW(&description);
  }();
  if (!registered) fail("RegisterClass");
  return kName;
}

/// A window that is never shown. The adapter that drives the monitor it lies on draws it.
class HiddenWindow {
 public:
  explicit HiddenWindow(const std::string& deviceName) {
    DEVMODEW mode{};
    mode.dmSize = sizeof mode;
    if (!EnumDisplaySettingsW(utf16(deviceName).c_str(), ENUM_CURRENT_SETTINGS, &mode))
      fail("EnumDisplaySettings");
    fWindow = CreateWindowExW(0, windowClass(), L"", WS_POPUP | WS_CLIPSIBLINGS | WS_CLIPCHILDREN,
                              mode.dmPosition.x, mode.dmPosition.y, 16, 16, nullptr, nullptr,
                              GetModuleHandleW(nullptr), nullptr);
    if (!fWindow) fail("CreateWindowEx");
    fDC = GetDC(fWindow);
    if (!fDC) {
      const std::string error = Core::SystemErrorText("GetDC");
      DestroyWindow(fWindow);
      throw LogicalException(error);
    }
  }
  ~HiddenWindow() {
    ReleaseDC(fWindow, fDC);
    DestroyWindow(fWindow);
  }
  HiddenWindow(const HiddenWindow&) = delete;
  HiddenWindow& operator=(const HiddenWindow&) = delete;

  HDC dc() const { return fDC; }

 private:
  HWND fWindow = nullptr;
  HDC fDC = nullptr;
};

class WGLNativeContext : public NativeContext {
 public:
  WGLNativeContext(const WGLApi& wgl, const std::string& deviceName)
      : fWGL(wgl), fWindow(deviceName) {
    PIXELFORMATDESCRIPTOR wanted{};
    wanted.nSize = sizeof wanted;
    wanted.nVersion = 1;
    // Drivers may have double-buffered formats alone; asked for a single buffer, the system would
    // choose its own software renderer.
    wanted.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
    wanted.iPixelType = PFD_TYPE_RGBA;
    wanted.cColorBits = 24;
    const int format = ChoosePixelFormat(fWindow.dc(), &wanted);
    if (format == 0) fail("ChoosePixelFormat");
    if (!SetPixelFormat(fWindow.dc(), format, &wanted)) fail("SetPixelFormat");
    fContext = wgl.wglCreateContext(fWindow.dc());
    if (!fContext) fail("wglCreateContext");
  }

  ~WGLNativeContext() override {
    if (fWGL.wglGetCurrentContext() == fContext) fWGL.wglMakeCurrent(nullptr, nullptr);
    fWGL.wglDeleteContext(fContext);
  }

  void makeCurrent() override {
    if (!fWGL.wglMakeCurrent(fWindow.dc(), fContext)) fail("wglMakeCurrent");
  }

 private:
  const WGLApi& fWGL;
  HiddenWindow fWindow;
  HGLRC fContext = nullptr;
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
  return {utf8(&device.DeviceName[0]), utf8(&device.DeviceString[0]), utf8(&device.DeviceID[0])};
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
      if (device.StateFlags & DISPLAY_DEVICE_PRIMARY_DEVICE) return keyOf(device);
    throw LogicalException("EnumDisplayDevices: no primary device");
  }

  std::unique_ptr<NativeContext> createContext(const DisplayDeviceKey& key) override {
    return std::make_unique<WGLNativeContext>(api(), key.deviceName);
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

 private:
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
