#pragma once

#include <memory>

#include "zor/ogl/Context.h"

namespace ZOR::OGL {

struct ContextState;
class NativeContext;

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

}  // namespace ZOR::OGL
