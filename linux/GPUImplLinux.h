#pragma once

#include <boost/shared_ptr.hpp>

#include "GPUImplHardware.h"
#include "ogl/ContextOffscreen.h"

/// The Linux implementation: one OpenGL GPU per EGL device that gives a context.
class GPUImplLinux : public GPUImplHardware {
 public:
  /// Software renderers are listed only when no hardware device gives a context. A device that
  /// gives none is named in the diagnostics. Never throws: what was found so far is returned, and
  /// one line on standard error says what went wrong.
  GPUList DoGetGPUs() override;

  unsigned DoGetGLMemoryMB() override { return 0; }
  unsigned DoGetGLVendorID() override { return 0; }
  std::string DoGetGLDriverVersion() override;
  unsigned DoGetGLRendererID() override { return 0; }
  std::string DoGetGLDriver() override;

  GPUList DoGetNativeGPUs() override { return {}; }
  std::string DoGetNativeName() override { return {}; }

 private:
  boost::shared_ptr<ZOR::OGL::ContextOffscreen> fContext;
};
