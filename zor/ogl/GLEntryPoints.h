#pragma once

#include "zor/ogl/GLHeaders.h"

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
