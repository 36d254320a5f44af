#include "zor/ogl/Texture2D.h"

#include "zor/ogl/OpenGLInterceptor.h"

namespace ZOR::OGL {
namespace {

GLint glFormat(InternalFormat format) {
  if (format == InternalFormat::RGBA8) return GL_RGBA8;
  throw LogicalException("unknown internal format");
}

GLenum glType(Type type) {
  if (type == Type::Default) return GL_UNSIGNED_BYTE;
  throw LogicalException("unknown component type");
}

}  // namespace

Texture2D::Texture2D(InternalFormat format, int width, int height, bool mipmaps, const void* data,
                     Type type) {
  const GLint internalFormat = glFormat(format);
  const GLenum componentType = glType(type);
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  gl.glGenTextures(ZOR_HERE, 1, &fTexture);
  gl.glBindTexture(ZOR_HERE, GL_TEXTURE_2D, fTexture);
  // The default filter wants mipmaps and would leave a texture without them incomplete.
  gl.glTexParameteri(ZOR_HERE, GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                     mipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
  gl.glTexImage2D(ZOR_HERE, GL_TEXTURE_2D, 0, internalFormat, width, height, 0, GL_RGBA,
                  componentType, data);
  gl.glBindTexture(ZOR_HERE, GL_TEXTURE_2D, 0);
}

Texture2D::~Texture2D() {
  deleteQuietly(
      [this](const OpenGLInterceptor& gl) { gl.glDeleteTextures(ZOR_HERE, 1, &fTexture); });
}

}  // namespace ZOR::OGL
