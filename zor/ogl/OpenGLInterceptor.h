#pragma once

#include <string>

#include "zor/core/Exceptions.h"
#include "zor/ogl/Backend.h"

// The prototypes are wanted for their types alone: no function is linked, all are looked up at
// run time.
#define GL_GLEXT_PROTOTYPES
#ifdef _WIN32
#include <windows.h>
#endif
#include <GL/gl.h>
#include <GL/glext.h>

/// Every OpenGL function that this library and its users call, grouped by the version or extension
/// that brought it.
// clang-format off
#define ZOR_GL_ENTRY_POINTS(X)                                                                  \
  /* OpenGL 1.0 and 1.1 */                                                                      \
  X(glBegin) X(glBindTexture) X(glBlendFunc) X(glClear) X(glClearColor) X(glClearDepth)         \
  X(glColor4f) X(glDeleteTextures) X(glDisable) X(glEnable) X(glEnd) X(glFogf) X(glFogfv)       \
  X(glFogi) X(glGenTextures) X(glGetError) X(glGetIntegerv) X(glGetString) X(glHint)            \
  X(glLoadIdentity) X(glMatrixMode) X(glPopMatrix) X(glPushMatrix) X(glRotatef) X(glScalef)     \
  X(glTexCoord2i) X(glTexImage2D) X(glTexParameteri) X(glTranslatef) X(glVertex2i)              \
  X(glVertex3f) X(glViewport)                                                                   \
  /* OpenGL 1.3 */                                                                              \
  X(glMultiTexCoord2i)                                                                          \
  /* OpenGL 2.0 */                                                                              \
  X(glAttachShader) X(glCompileShader) X(glCreateProgram) X(glCreateShader) X(glDeleteProgram)  \
  X(glDeleteShader) X(glGetProgramInfoLog) X(glGetProgramiv) X(glGetShaderInfoLog)              \
  X(glGetShaderiv) X(glLinkProgram) X(glShaderSource)                                           \
  /* OpenGL 3.0 */                                                                              \
  X(glGetStringi)                                                                               \
  /* ARB_vertex_program, ARB_fragment_program */                                                \
  X(glGetProgramivARB)                                                                          \
  /* ARB_framebuffer_object, and its EXT elder */                                               \
  X(glBindFramebuffer) X(glDeleteFramebuffers) X(glFramebufferTexture2D) X(glGenFramebuffers)   \
  X(glBindFramebufferEXT) X(glDeleteFramebuffersEXT) X(glFramebufferTexture2DEXT)               \
  X(glGenFramebuffersEXT)
// clang-format on

/// The first two arguments of every intercepted call: where the caller stands.
#define ZOR_HERE __FILE__, __LINE__

namespace ZOR::OGL {

/// Told of each call before it is made.
using TraceHook = void (*)(const char* entryPoint, const char* file, int line);

/// Null, the default, traces nothing.
inline TraceHook traceHook = nullptr;

template <class Function>
class InterceptedCall;

/// One OpenGL function, called as the function itself with the caller's file and line in front.
template <class Result, class... Arguments>
class InterceptedCall<Result (*)(Arguments...)> {
 public:
  explicit InterceptedCall(const char* name) : fName(name) {}

  /// Throws LogicalException when the driver does not offer the function.
  Result operator()(const char* file, int line, Arguments... arguments) const {
    if (traceHook) traceHook(fName, file, line);
    if (!fFunction) throw LogicalException(std::string(fName) + " is not offered by the driver");
    return fFunction(arguments...);
  }

  void load(Backend& backend) {
    fFunction = reinterpret_cast<Result (*)(Arguments...)>(backend.entryPoint(fName));
  }

 private:
  const char* fName;
  Result (*fFunction)(Arguments...) = nullptr;
};

/// The OpenGL entry points of one context, each a member of the function's own name.
class OpenGLInterceptor {
 public:
#define ZOR_GL_MEMBER(name) InterceptedCall<decltype(&::name)> name{#name};
  ZOR_GL_ENTRY_POINTS(ZOR_GL_MEMBER)
#undef ZOR_GL_MEMBER

  /// Looks all functions up for the context that is current.
  void load(Backend& backend);

  /// Those of the current context. Throws LogicalException when none is current.
  static OpenGLInterceptor& Instance();
};

}  // namespace ZOR::OGL
