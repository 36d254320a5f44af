#include "zor/ogl/Framebuffer.h"

#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/OpenGLInterceptor.h"
#include "zor/ogl/Texture2D.h"

namespace ZOR::OGL {
namespace {

/// True for the entry points without a suffix, false for EXT's. Asked first, because a call that
/// the driver does not know may leave a GL error pending.
bool hasCoreFramebuffers() {
  const ExtensionManager* extensions = ExtensionManager::Instance();
  if (extensions &&
      (extensions->isSupported(Version_3_0) || extensions->isListed("GL_ARB_framebuffer_object")))
    return true;
  if (extensions && extensions->isListed("GL_EXT_framebuffer_object")) return false;
  throw LogicalException("the driver has no frame-buffer objects");
}

void bindFramebuffer(bool core, GLuint framebuffer) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  (core ? gl.glBindFramebuffer : gl.glBindFramebufferEXT)(ZOR_HERE, GL_FRAMEBUFFER, framebuffer);
}

}  // namespace

Framebuffer::Framebuffer() : fCore(hasCoreFramebuffers()) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  (fCore ? gl.glGenFramebuffers : gl.glGenFramebuffersEXT)(ZOR_HERE, 1, &fFramebuffer);
}

Framebuffer::~Framebuffer() {
  deleteQuietly([this](const OpenGLInterceptor& gl) {
    (fCore ? gl.glDeleteFramebuffers : gl.glDeleteFramebuffersEXT)(ZOR_HERE, 1, &fFramebuffer);
  });
}

void Framebuffer::bind() {
  bindFramebuffer(fCore, fFramebuffer);
}

void Framebuffer::attach(Texture2D* texture, unsigned colorIndex, unsigned level) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  (fCore ? gl.glFramebufferTexture2D : gl.glFramebufferTexture2DEXT)(
      ZOR_HERE, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + colorIndex, GL_TEXTURE_2D, texture->id(),
      static_cast<GLint>(level));
}

void Framebuffer::unbind() {
  bindFramebuffer(fCore, 0);
}

}  // namespace ZOR::OGL
