#include "zor/ogl/EGLApi.h"

#include <locale>
#include <sstream>
#include <string_view>

namespace ZOR::OGL {
namespace {

// The range is closed: EGL 1.5, section 3.1.
constexpr const char* kErrorNames[] = {
    "EGL_SUCCESS",       "EGL_NOT_INITIALIZED", "EGL_BAD_ACCESS",        "EGL_BAD_ALLOC",
    "EGL_BAD_ATTRIBUTE", "EGL_BAD_CONFIG",      "EGL_BAD_CONTEXT",       "EGL_BAD_CURRENT_SURFACE",
    "EGL_BAD_DISPLAY",   "EGL_BAD_MATCH",       "EGL_BAD_NATIVE_PIXMAP", "EGL_BAD_NATIVE_WINDOW",
    "EGL_BAD_PARAMETER", "EGL_BAD_SURFACE",     "EGL_CONTEXT_LOST",
};

}  // namespace

EGLApi::EGLApi() : fLibrary("libEGL.so.1") {
#define ZOR_EGL_LOAD(name) fLibrary.require(#name, name);
  ZOR_EGL_ENTRY_POINTS(ZOR_EGL_LOAD)
#undef ZOR_EGL_LOAD
#define ZOR_EGL_LOAD(name, type) name = reinterpret_cast<type>(eglGetProcAddress(#name));
  ZOR_EGL_EXTENSION_POINTS(ZOR_EGL_LOAD)
#undef ZOR_EGL_LOAD
}

void EGLApi::fail(const char* call) const {
  const EGLint error = eglGetError();
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << call << ": ";
  if (error >= EGL_SUCCESS && error <= EGL_CONTEXT_LOST)
    text << kErrorNames[error - EGL_SUCCESS];
  else
    text << "EGL error 0x" << std::hex << error;
  throw LogicalException(text.str());
}

bool HasEGLExtension(const char* list, const char* name) {
  const std::string padded = ' ' + std::string(Core::TextOrEmpty(list)) + ' ';
  return padded.find(' ' + std::string(name) + ' ') != std::string::npos;
}

}  // namespace ZOR::OGL
