#include <iterator>
#include <stdexcept>

#include "gpu/GLQueries.h"
#include "gpu/GPUImplHardware.h"
#include "log/Diagnostic.h"
#include "log/ReportFailure.h"
#include "protocol/Questions.h"
#include "zor/core/Library.h"
#include "zor/ogl/OpenGLInterceptor.h"

using ZOR::OGL::OpenGLInterceptor;

namespace {

// Reports carry these numbers.
#define CHECK_NUMBER(name, number) static_assert(ZOR::OGL::name == (number));
GPUPROBE_GL_EXTENSIONS(CHECK_NUMBER)
#undef CHECK_NUMBER

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
  // 1.2.1 is left out: it changed no function, and hosts read three characters.
  for (auto asked = std::rbegin(ZOR::OGL::kVersions); asked != std::rend(ZOR::OGL::kVersions);
       ++asked) {
    const auto& [major, minor, release] = asked->version;
    if (release == 0 && scope.IsSupported(asked->number))
      return std::to_string(major) + '.' + std::to_string(minor);
  }
  throw std::runtime_error("Cannot determine OGL version");
}

std::string GPUImplHardware::GLText(unsigned name) {
  return ZOR::Core::TextOrEmpty(DoGLGetString(name));
}

std::string GPUImplHardware::DoGetGLVendor() {
  return GLText(GL_VENDOR);
}

std::string GPUImplHardware::DoGetGLRenderer() {
  return GLText(GL_RENDERER);
}

unsigned GPUImplHardware::DoGetGLRectTextureSize() {
  int size = 0;
  DoGLGetIntegerv(GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, &size);
  return static_cast<unsigned>(size);
}

bool GPUImplHardware::DoHasGLNPOTSupport() {
  return DoGLIsExtensionSupported(ZOR::OGL::GL_ARB_TEXTURE_NON_POWER_OF_TWO);
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
  return GLExtensionScope(glContext).IsSupported(extension);
}
