#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ZOR::OGL {

/// A window that is never shown and has a pixel format for OpenGL. It lies where the display device
/// has its desktop; which adapter's driver then draws it is the system's choice. Belongs to the
/// thread that made it.
class HiddenWindow {
 public:
  enum class Kind {
    /// No broadcast reaches it, so no other program ever waits for this one.
    MessageOnly,
    /// Broadcasts reach it: its thread has to call AnswerMessages() while it exists.
    TopLevel
  };

  /// Throws LogicalException that names the failing call.
  HiddenWindow(Kind kind, const std::string& deviceName);
  ~HiddenWindow();
  HiddenWindow(const HiddenWindow&) = delete;
  HiddenWindow& operator=(const HiddenWindow&) = delete;

  HDC dc() const { return fDC; }
  /// False when the window has nothing but the system's own software renderer.
  bool drawnByDriver() const { return fDrawnByDriver; }

  /// Answers what was sent to this thread's top-level windows; does nothing while there are none.
  static void AnswerMessages();

 private:
  void open(Kind kind, const std::string& deviceName);
  void setPixelFormat();
  void close() noexcept;

  HWND fWindow = nullptr;
  HDC fDC = nullptr;
  bool fTopLevel = false;
  bool fDrawnByDriver = false;
};

/// Whether the system itself draws a format, in software and with OpenGL 1.1.
bool IsGenericFormat(const PIXELFORMATDESCRIPTOR& format);

/// Number (from 1) of the first format with which a driver draws coloured windows by OpenGL, or 0.
int FirstDriverFormat(const std::vector<PIXELFORMATDESCRIPTOR>& formats);

}  // namespace ZOR::OGL
