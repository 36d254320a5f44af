#pragma once

#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace ZOR::OGL {

/// What belongs to one context: its entry points (two drivers give different addresses for the
/// same name) and its extension set.
struct ContextState {
  OpenGLInterceptor interceptor;
  ExtensionManager extensions;
  bool loaded = false;

  /// Loads both from the context that is current; leaves no GL error pending.
  void load();

  /// The state of the context that is current on this thread, or null.
  static thread_local ContextState* current;
};

}  // namespace ZOR::OGL
