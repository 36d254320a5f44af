#include "zor/ogl/HiddenWindow_win.h"

#include <algorithm>

#include "zor/core/SystemTexts_win.h"

namespace ZOR::OGL {
namespace {

constexpr int kColorBits = 24;

int topLevelWindows = 0;

/// The window goes with its context, not because a task list asks it to.
LRESULT CALLBACK answer(HWND window, UINT message, WPARAM wide, LPARAM extra) {
  return message == WM_CLOSE ? 0 : DefWindowProcW(window, message, wide, extra);
}

const wchar_t* windowClass() {
  constexpr const wchar_t* kName = L"gpuprobe";
  static const ATOM registered = [] {
    WNDCLASSW description{};
    description.style = CS_OWNDC;
    description.lpfnWndProc = answer;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = kName;
    return RegisterClassW(&description);
  }();
  if (!registered) Core::ThrowSystemError("RegisterClass");
  return kName;
}

PIXELFORMATDESCRIPTOR wantedFormat() {
  PIXELFORMATDESCRIPTOR wanted{};
  wanted.nSize = sizeof wanted;
  wanted.nVersion = 1;
  // Drivers may have double-buffered formats alone; asked for a single buffer, the system would
  // choose its own software renderer.
  wanted.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
  wanted.iPixelType = PFD_TYPE_RGBA;
  wanted.cColorBits = kColorBits;
  return wanted;
}

std::vector<PIXELFORMATDESCRIPTOR> formatsOf(HDC dc) {
  std::vector<PIXELFORMATDESCRIPTOR> formats;
  PIXELFORMATDESCRIPTOR format{};
  for (int i = 1; i <= DescribePixelFormat(dc, i, sizeof format, &format); ++i)
    formats.push_back(format);
  return formats;
}

}  // namespace

bool IsGenericFormat(const PIXELFORMATDESCRIPTOR& format) {
  // The second flag is that of drivers that speed the system's renderer up.
  return (format.dwFlags & (PFD_GENERIC_FORMAT | PFD_GENERIC_ACCELERATED)) == PFD_GENERIC_FORMAT;
}

int FirstDriverFormat(const std::vector<PIXELFORMATDESCRIPTOR>& formats) {
  constexpr DWORD kNeeded = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL;
  const auto found =
      std::find_if(formats.begin(), formats.end(), [](const PIXELFORMATDESCRIPTOR& format) {
        return !IsGenericFormat(format) && (format.dwFlags & kNeeded) == kNeeded &&
               format.iPixelType == PFD_TYPE_RGBA && format.cColorBits >= kColorBits;
      });
  return found == formats.end() ? 0 : static_cast<int>(found - formats.begin()) + 1;
}

HiddenWindow::HiddenWindow(Kind kind, const std::string& deviceName) {
  try {
    open(kind, deviceName);
    setPixelFormat();
  } catch (...) {
    close();
    throw;
  }
}

HiddenWindow::~HiddenWindow() {
  close();
}

void HiddenWindow::open(Kind kind, const std::string& deviceName) {
  DEVMODEW mode{};
  mode.dmSize = sizeof mode;
  if (!EnumDisplaySettingsW(Core::Utf16(deviceName).c_str(), ENUM_CURRENT_SETTINGS, &mode))
    Core::ThrowSystemError("EnumDisplaySettings");
  fWindow = CreateWindowExW(0, windowClass(), L"", WS_POPUP | WS_CLIPSIBLINGS | WS_CLIPCHILDREN,
                            mode.dmPosition.x, mode.dmPosition.y, 16, 16,
                            kind == Kind::MessageOnly ? HWND_MESSAGE : nullptr, nullptr,
                            GetModuleHandleW(nullptr), nullptr);
  if (!fWindow) Core::ThrowSystemError("CreateWindowEx");
  fTopLevel = kind == Kind::TopLevel;
  if (fTopLevel) ++topLevelWindows;
  fDC = GetDC(fWindow);
  if (!fDC) Core::ThrowSystemError("GetDC");
}

void HiddenWindow::setPixelFormat() {
  const PIXELFORMATDESCRIPTOR wanted = wantedFormat();
  int number = ChoosePixelFormat(fDC, &wanted);
  if (number == 0) Core::ThrowSystemError("ChoosePixelFormat");
  PIXELFORMATDESCRIPTOR chosen{};
  if (!DescribePixelFormat(fDC, number, sizeof chosen, &chosen))
    Core::ThrowSystemError("DescribePixelFormat");
  fDrawnByDriver = !IsGenericFormat(chosen);
  if (!fDrawnByDriver) {
    if (const int another = FirstDriverFormat(formatsOf(fDC))) {
      number = another;
      fDrawnByDriver = true;
    }
  }
  if (!SetPixelFormat(fDC, number, &wanted)) Core::ThrowSystemError("SetPixelFormat");
}

void HiddenWindow::close() noexcept {
  if (fDC) ReleaseDC(fWindow, fDC);
  if (fWindow) DestroyWindow(fWindow);
  if (fTopLevel) --topLevelWindows;
}

void HiddenWindow::AnswerMessages() {
  MSG message;
  while (topLevelWindows > 0 && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
    DispatchMessageW(&message);
}

}  // namespace ZOR::OGL
