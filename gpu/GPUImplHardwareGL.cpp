#include <stdexcept>

#include "gpu/GLChecks.h"
#include "gpu/GLContextScope.h"
#include "gpu/GPUImplHardware.h"
#include "log/Diagnostic.h"
#include "log/ReportFailure.h"
#include "zor/ogl/OpenGLInterceptor.h"

using ZOR::OGL::OpenGLInterceptor;

namespace {

struct VersionText {
  unsigned extension;
  const char* text;
};

// Highest first. 1.2.1 is left out: it changed no function, and hosts read three characters.
constexpr VersionText kVersions[] = {
    {12, "4.1"}, {11, "4.0"}, {10, "3.3"}, {9, "3.2"}, {8, "3.1"}, {7, "3.0"},
    {6, "2.1"},  {5, "2.0"},  {4, "1.5"},  {3, "1.4"}, {2, "1.3"}, {0, "1.2"},
};

constexpr unsigned kNPOTExtension = 56;

/// Ends a question at a pending GL error. The pieces name the question in the diagnostic.
template <class... Pieces>
void requireNoGLError(const OpenGLInterceptor& gl, const Pieces&... question) {
  const GLenum glStatus = gl.glGetError(ZOR_HERE);
  if (glStatus == GL_NO_ERROR) return;
  Diagnostic{}(question..., ": glGetError() returns ", glStatus);
  FailRequirement("Failed requirement: glStatus == GL_NO_ERROR");
}

}  // namespace

std::string GPUImplHardware::DoGetGLVersion() {
  const GLExtensionScope scope(glContext);
  for (const VersionText& version : kVersions)
    if (scope.isSupported(version.extension)) return version.text;
  throw std::runtime_error("Cannot determine OGL version");
}

std::string GPUImplHardware::glText(unsigned name) {
  const char* text = DoGLGetString(name);
  return text ? text : "";
}

std::string GPUImplHardware::DoGetGLVendor() {
  return glText(GL_VENDOR);
}

std::string GPUImplHardware::DoGetGLRenderer() {
  return glText(GL_RENDERER);
}

unsigned GPUImplHardware::DoGetGLRectTextureSize() {
  int size = 0;
  DoGLGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &size);
  return static_cast<unsigned>(size);
}

bool GPUImplHardware::DoHasGLNPOTSupport() {
  return DoGLIsExtensionSupported(kNPOTExtension);
}

bool GPUImplHardware::DoCompileProgramGLSL() {
  try {
    const GLContextScope scope(glContext);
    CompileAndLinkTestProgram();
    return true;
  } catch (const ZOR::ExceptionBase& e) {
    Diagnostic{}("DoCompileProgramGLSL:", e.what());
    return false;
  } catch (...) {
    return false;
  }
}

bool GPUImplHardware::DoGLFramebufferOK() {
  const GLContextScope scope(glContext);
  return DrawToTextureLeavesNoError();
}

const char* GPUImplHardware::DoGLGetString(unsigned name) {
  const GLContextScope scope(glContext);
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  const GLubyte* result = gl.glGetString(ZOR_HERE, name);
  requireNoGLError(gl, "GPUImplHardware::DoGLGetString", "(", name, ")");
  return reinterpret_cast<const char*>(result);
}

void GPUImplHardware::DoGLGetIntegerv(unsigned name, int* out) {
  const GLContextScope scope(glContext);
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  gl.glGetIntegerv(ZOR_HERE, name, out);
  requireNoGLError(gl, "GPUImplHardware::DoGLGetIntegerv", "(", name, ")");
}

void GPUImplHardware::DoGLGetProgramivARB(unsigned target, unsigned code, int* out) {
  const GLContextScope scope(glContext);
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  gl.glGetProgramivARB(ZOR_HERE, target, code, out);
  requireNoGLError(gl, "GPUImplHardware::DoGLGetProgramivARB", "(target=", target, ", code=", code,
                   ")");
}

bool GPUImplHardware::DoGLIsExtensionSupported(unsigned extension) {
  return GLExtensionScope(glContext).isSupported(extension);
}
