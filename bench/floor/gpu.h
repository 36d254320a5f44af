#pragma once

#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

// clang-format off
#define EACH_ENTRY(X)                                                                             \
  X(glBegin) X(glBindTexture) X(glBlendFunc) X(glClear) X(glClearColor) X(glClearDepth)           \
  X(glColor4f) X(glDeleteTextures) X(glDisable) X(glEnable) X(glEnd) X(glFogf) X(glFogfv)         \
  X(glFogi) X(glGenTextures) X(glGetError) X(glGetIntegerv) X(glGetString) X(glHint)              \
  X(glLoadIdentity) X(glMatrixMode) X(glPopMatrix) X(glPushMatrix) X(glRotatef) X(glScalef)       \
  X(glTexCoord2i) X(glTexImage2D) X(glTexParameteri) X(glTranslatef) X(glVertex2i)                \
  X(glVertex3f) X(glViewport) X(glMultiTexCoord2i) X(glAttachShader) X(glCompileShader)           \
  X(glCreateProgram) X(glCreateShader) X(glDeleteProgram) X(glDeleteShader)                       \
  X(glGetProgramInfoLog) X(glGetProgramiv) X(glGetShaderInfoLog) X(glGetShaderiv)                 \
  X(glLinkProgram) X(glShaderSource) X(glGetStringi) X(glGetProgramivARB) X(glBindFramebuffer)    \
  X(glDeleteFramebuffers) X(glFramebufferTexture2D) X(glGenFramebuffers)                          \
  X(glBindFramebufferEXT) X(glDeleteFramebuffersEXT) X(glFramebufferTexture2DEXT)                 \
  X(glGenFramebuffersEXT)
// clang-format on

/* One device with its context, entry points and extension set. */
struct Gpu {
  int index, software, loaded, major, minor, names;
  EGLDisplay display;
  EGLContext context;
  EGLSurface surface;
  const char** name; /* from 3.0 on, else the joined text */
  const char* joined;
#define DECLARE(entry) __typeof__(&entry) entry;
  EACH_ENTRY(DECLARE)
#undef DECLARE
};
