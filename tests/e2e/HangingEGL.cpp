// A libEGL that hangs like a broken driver, in the function that HANG_IN names. Its folder comes
// first in the loader's path.

#include <EGL/egl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace {

void hangIn(const char* function) {
  const char* wanted = std::getenv("HANG_IN");
  // As a driver does that waits for its hardware: signals don't end the wait.
  while (wanted && std::strcmp(wanted, function) == 0) pause();
}

struct AtLoading {
  AtLoading() { hangIn("load"); }
} atLoading;

int object;

}  // namespace

extern "C" {

EGLBoolean eglBindAPI(EGLenum) {
  return EGL_TRUE;
}
EGLBoolean eglChooseConfig(EGLDisplay, const EGLint*, EGLConfig* configs, EGLint, EGLint* count) {
  *configs = &object;
  *count = 1;
  return EGL_TRUE;
}
EGLContext eglCreateContext(EGLDisplay, EGLConfig, EGLContext, const EGLint*) {
  hangIn("eglCreateContext");
  return &object;
}
EGLSurface eglCreatePbufferSurface(EGLDisplay, EGLConfig, const EGLint*) {
  return &object;
}
EGLBoolean eglDestroyContext(EGLDisplay, EGLContext) {
  return EGL_TRUE;
}
EGLBoolean eglDestroySurface(EGLDisplay, EGLSurface) {
  return EGL_TRUE;
}
EGLContext eglGetCurrentContext() {
  return EGL_NO_CONTEXT;
}
EGLDisplay eglGetCurrentDisplay() {
  return EGL_NO_DISPLAY;
}
EGLSurface eglGetCurrentSurface(EGLint) {
  return EGL_NO_SURFACE;
}
EGLDisplay eglGetDisplay(EGLNativeDisplayType) {
  return &object;
}
EGLint eglGetError() {
  return EGL_SUCCESS;
}
void (*eglGetProcAddress(const char*))() {
  return nullptr;
}
EGLBoolean eglInitialize(EGLDisplay, EGLint*, EGLint*) {
  hangIn("eglInitialize");
  return EGL_TRUE;
}
EGLBoolean eglMakeCurrent(EGLDisplay, EGLSurface, EGLSurface, EGLContext) {
  return EGL_TRUE;
}
const char* eglQueryString(EGLDisplay, EGLint) {
  return "";
}
}
