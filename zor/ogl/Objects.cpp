#include "zor/ogl/Objects.h"

#include <algorithm>
#include <string>

#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace ZOR::OGL {
namespace {

/// No driver's log comes near this; a larger size is a driver's mistake.
constexpr GLint kLongestLog = 1 << 20;

/// For destructors: deletes an object's name through the current context. A context that is gone,
/// or a driver without the function, has nothing left to delete, and one that throws through its C
/// interface must not end the program here.
template <class Delete>
void deleteQuietly(const Delete& deleteName) noexcept {
  try {
    deleteName(OpenGLInterceptor::Instance());
  } catch (...) {
  }
}

/// Deletes the shader at the end of the scope; a program that it was attached to keeps it alive.
class ShaderScope {
 public:
  explicit ShaderScope(GLenum type)
      : fShader(OpenGLInterceptor::Instance().glCreateShader(ZOR_HERE, type)) {
    if (fShader == 0) throw LogicalException("glCreateShader failed");
  }
  ~ShaderScope() {
    deleteQuietly([this](const OpenGLInterceptor& gl) { gl.glDeleteShader(ZOR_HERE, fShader); });
  }
  ShaderScope(const ShaderScope&) = delete;
  ShaderScope& operator=(const ShaderScope&) = delete;

  GLuint id() const { return fShader; }

 private:
  GLuint fShader;
};

/// Both kinds of object answer with the same pair of functions.
template <class GetInteger, class GetLog>
std::string informationLog(GLuint object, const GetInteger& getInteger, const GetLog& getLog) {
  GLint size = 0;
  getInteger(ZOR_HERE, object, GL_INFO_LOG_LENGTH, &size);
  if (size <= 1 || size > kLongestLog) return "no information log";
  std::string log(static_cast<size_t>(size), '\0');
  GLsizei length = 0;
  getLog(ZOR_HERE, object, size, &length, log.data());
  log.resize(static_cast<size_t>(std::clamp(length, 0, size)));
  return log;
}

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

Program::Program() {
  // Asked first, because a call that the driver does not know may leave a GL error pending.
  const ExtensionManager* extensions = ExtensionManager::Instance();
  if (!extensions || !extensions->isSupported(Version_2_0))
    throw LogicalException("a GLSL program needs OpenGL 2.0");
  fProgram = OpenGLInterceptor::Instance().glCreateProgram(ZOR_HERE);
  if (fProgram == 0) throw LogicalException("glCreateProgram failed");
}

Program::~Program() {
  deleteQuietly([this](const OpenGLInterceptor& gl) { gl.glDeleteProgram(ZOR_HERE, fProgram); });
}

void Program::loadVertexShader(int count, const char* const* strings, const int* lengths) {
  loadShader(GL_VERTEX_SHADER, count, strings, lengths);
}

void Program::loadFragmentShader(int count, const char* const* strings, const int* lengths) {
  loadShader(GL_FRAGMENT_SHADER, count, strings, lengths);
}

void Program::loadShader(unsigned type, int count, const char* const* strings, const int* lengths) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  const ShaderScope shader(type);
  gl.glShaderSource(ZOR_HERE, shader.id(), count, strings, lengths);
  gl.glCompileShader(ZOR_HERE, shader.id());
  GLint compiled = GL_FALSE;
  gl.glGetShaderiv(ZOR_HERE, shader.id(), GL_COMPILE_STATUS, &compiled);
  if (compiled != GL_TRUE)
    throw LogicalException("glCompileShader: " +
                           informationLog(shader.id(), gl.glGetShaderiv, gl.glGetShaderInfoLog));
  gl.glAttachShader(ZOR_HERE, fProgram, shader.id());
}

bool Program::link(bool mustLink) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  gl.glLinkProgram(ZOR_HERE, fProgram);
  GLint linked = GL_FALSE;
  gl.glGetProgramiv(ZOR_HERE, fProgram, GL_LINK_STATUS, &linked);
  if (linked != GL_TRUE && mustLink)
    throw LogicalException("glLinkProgram: " +
                           informationLog(fProgram, gl.glGetProgramiv, gl.glGetProgramInfoLog));
  return linked == GL_TRUE;
}

Texture2D::Texture2D(InternalFormat /*RGBA8*/, int width, int height, bool mipmaps,
                     const void* data, Type /*Default*/) {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  gl.glGenTextures(ZOR_HERE, 1, &fTexture);
  gl.glBindTexture(ZOR_HERE, GL_TEXTURE_2D, fTexture);
  // The default filter wants mipmaps and would leave a texture without them incomplete.
  gl.glTexParameteri(ZOR_HERE, GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER,
                     mipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR);
  gl.glTexImage2D(ZOR_HERE, GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                  data);
  gl.glBindTexture(ZOR_HERE, GL_TEXTURE_2D, 0);
}

Texture2D::~Texture2D() {
  deleteQuietly(
      [this](const OpenGLInterceptor& gl) { gl.glDeleteTextures(ZOR_HERE, 1, &fTexture); });
}

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
