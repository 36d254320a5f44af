#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

// OpenGL as its users see it: the binding's library, the display devices and contexts on them.

namespace ZOR::OGL {

struct ContextState;
class NativeContext;

class Library {
 public:
  struct InitOptions {};

  /// Opens the system's OpenGL binding. Throws LogicalException with the loader's own words when
  /// it is missing. Repeatable.
  static void Initialize(const InitOptions& options);

  /// Answers what other programs have sent to the windows of this thread's contexts; they wait for
  /// it. To be called whenever some time has passed; does nothing where no window can be sent to.
  static void AnswerMessages();
};

/// The device name of EGL's software renderer.
inline constexpr char kSoftwareDeviceName[] = "software";

/// Names one display device to the library.
///
/// | field        | Windows (EnumDisplayDevices)  | Linux (EGL_EXT_device_enumeration)      |
/// | deviceName   | DeviceName, "\\.\DISPLAY1"    | DRM node path, or "software"            |
/// | deviceString | DeviceString, adapter's name, | the device's name as EGL gives it       |
/// |              | in escaped ASCII              |                                         |
/// | displayID    | DeviceID                      | index in EGL's list                     |
struct DisplayDeviceKey {
  std::string deviceName;
  std::string deviceString;
  std::string displayID;
};

/// Asked before a context is made on a device that was listed; false leaves the device out. Null,
/// the default, leaves none out.
inline bool (*deviceFilter)(const DisplayDeviceKey& key) = nullptr;

/// An OpenGL context that can be made current on the calling thread.
class Context {
 public:
  virtual ~Context() = default;

  virtual void makeCurrent() = 0;

  /// Counts, fills the index-th key (false when there is none, or when deviceFilter
  /// leaves it out), or gives the key of the device that programs use by default. All throw
  /// LogicalException when the OpenGL binding or, for the primary one, every device is missing.
  static uint64_t NumDisplayDevice();
  static bool DisplayDevice(uint64_t index, DisplayDeviceKey& key);
  static DisplayDeviceKey PrimaryDisplayDevice();
};

/// A compatibility-profile context that draws to no visible surface.
class ContextOffscreen : public Context {
 public:
  /// Throws LogicalException that names the failing call.
  explicit ContextOffscreen(const DisplayDeviceKey& key);
  ~ContextOffscreen() override;
  ContextOffscreen(const ContextOffscreen&) = delete;
  ContextOffscreen& operator=(const ContextOffscreen&) = delete;

  /// Loads the entry points and the extension set on first use.
  void makeCurrent() override;

  /// The driver's name as the window system gives it; empty where it gives none.
  std::string driverName() const;
  /// What was out of the ordinary when the context was made; mostly empty.
  std::string remark() const;

 private:
  std::unique_ptr<NativeContext> fNative;
  std::unique_ptr<ContextState> fState;
};

/// Notes the current context and, when restore is set, puts it back at the end of the scope.
class ScopedContextWrapper {
 public:
  explicit ScopedContextWrapper(bool restore);
  ~ScopedContextWrapper();
  ScopedContextWrapper(const ScopedContextWrapper&) = delete;
  ScopedContextWrapper& operator=(const ScopedContextWrapper&) = delete;

 private:
  std::function<void()> fRestore;
  ContextState* fState;
};

}  // namespace ZOR::OGL
