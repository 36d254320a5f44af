#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zor/core/Library.h"
#include "zor/ogl/Context.h"

namespace ZOR::OGL {

/// A context of the window system's binding, current on one thread at most. Destroying it releases
/// it, current or not.
class NativeContext {
 public:
  virtual ~NativeContext() = default;

  /// For this thread. Throws LogicalException that names the failing call; whether the one before
  /// is still current then is the binding's affair.
  virtual void makeCurrent() = 0;
  /// The driver's name as the binding gives it; empty where it gives none.
  virtual std::string driverName() const { return {}; }
  /// What was out of the ordinary when the context was made, for a diagnostic; mostly empty.
  virtual std::string remark() const { return {}; }
};

/// The window system's OpenGL binding (EGL or WGL), and the seam at which tests put their own. Used
/// on one thread: no implementation locks.
class Backend {
 public:
  virtual ~Backend() = default;

  /// Opens the binding's library. Throws LogicalException. Repeatable; the other operations
  /// do it themselves when it was not done.
  virtual void initialize() = 0;
  /// In the binding's order; empty when there is none. The same each time where the binding gives
  /// devices a handle of their own (EGL). Throws LogicalException.
  virtual std::vector<DisplayDeviceKey> displayDevices() = 0;
  /// The device that programs get by default: the desktop's (WGL), the first that gives a context
  /// (EGL). Throws LogicalException when there is none, which says why the first gave none.
  virtual DisplayDeviceKey primaryDisplayDevice() = 0;
  /// A compatibility-profile context, not current yet, that the caller owns and that must not
  /// outlive the backend; throws LogicalException that names the failing call.
  virtual std::unique_ptr<NativeContext> createContext(const DisplayDeviceKey& key) = 0;
  /// Notes what is current on this thread; the result puts it back and never throws.
  virtual std::function<void()> saveCurrent() = 0;
  /// An OpenGL function for the current context and, as drivers differ, for no other; null when
  /// the driver has none of that name.
  virtual Core::EntryPoint entryPoint(const char* name) = 0;
  /// Answers what other programs have sent to the windows of contexts. For the thread that made
  /// them.
  virtual void answerMessages() {}

  /// The system's, unless replaced.
  static Backend& Instance();
  /// Null puts the system's back. The caller keeps the ownership.
  static void Replace(Backend* backend);
};

/// Defined once per platform, beside its backend.
Backend& SystemBackend();

}  // namespace ZOR::OGL
