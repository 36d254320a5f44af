#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <string>

#include "zor/core/Library.h"

/// Every EGL function that the backend calls: those that libEGL.so.1 exports ...
#define ZOR_EGL_ENTRY_POINTS(X) \
  X(eglBindAPI)                 \
  X(eglChooseConfig)            \
  X(eglCreateContext)           \
  X(eglCreatePbufferSurface)    \
  X(eglDestroyContext)          \
  X(eglDestroySurface)          \
  X(eglGetCurrentContext)       \
  X(eglGetCurrentDisplay)       \
  X(eglGetCurrentSurface)       \
  X(eglGetDisplay)              \
  X(eglGetError)                \
  X(eglGetProcAddress)          \
  X(eglInitialize)              \
  X(eglMakeCurrent)             \
  X(eglQueryString)

/// ... and those that only eglGetProcAddress gives, with their types.
#define ZOR_EGL_EXTENSION_POINTS(X)                                                        \
  X(eglGetPlatformDisplayEXT, PFNEGLGETPLATFORMDISPLAYEXTPROC) /* EGL_EXT_platform_base */ \
  X(eglQueryDevicesEXT, PFNEGLQUERYDEVICESEXTPROC)             /* EGL_EXT_device_base */   \
  X(eglQueryDeviceStringEXT, PFNEGLQUERYDEVICESTRINGEXTPROC)   /* EGL_EXT_device_base */   \
  X(eglGetDisplayDriverName, PFNEGLGETDISPLAYDRIVERNAMEPROC)   /* EGL_MESA_query_driver */

namespace ZOR::OGL {

/// The functions of libEGL.so.1, under their own names. Extension functions may be null.
class EGLApi {
 public:
  /// Throws LogicalException with the loader's text or the name of the missing function.
  EGLApi();

#define ZOR_EGL_MEMBER(name) decltype(&::name) name = nullptr;
  ZOR_EGL_ENTRY_POINTS(ZOR_EGL_MEMBER)
#undef ZOR_EGL_MEMBER
#define ZOR_EGL_MEMBER(name, type) type name = nullptr;
  ZOR_EGL_EXTENSION_POINTS(ZOR_EGL_MEMBER)
#undef ZOR_EGL_MEMBER

  /// Throws LogicalException "call: EGL_BAD_..." for the thread's last EGL error.
  [[noreturn]] void fail(const char* call) const;

 private:
  Core::DynamicLibrary fLibrary;
};

/// Whole-word search in a blank-separated extension list; null is an empty list.
bool HasEGLExtension(const char* list, const char* name);

}  // namespace ZOR::OGL
