#pragma once

// Objects of the current context; each deletes its OpenGL name at its end, for which the same
// context has to be current (with none there is nothing to call, and the name goes with its
// context). A call that the driver lacks throws LogicalException; GL errors stay pending for the
// caller.

namespace ZOR::OGL {

/// A GLSL program of the current context (OpenGL 2.0). All operations throw LogicalException;
/// where the driver gives an information log, the message carries it.
class Program {
 public:
  /// Throws when the current context has no OpenGL 2.0.
  Program();
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// Compiles count pieces, joined with nothing between. Null lengths: every piece ends at its
  /// NUL (glShaderSource).
  void loadVertexShader(int count, const char* const* strings, const int* lengths);
  void loadFragmentShader(int count, const char* const* strings, const int* lengths);

  /// Returns whether the program linked; with mustLink a failure throws instead.
  bool link(bool mustLink);

 private:
  void loadShader(unsigned type, int count, const char* const* strings, const int* lengths);

  unsigned fProgram = 0;
};

/// Numbers of this library's own list of colour formats.
enum class InternalFormat { RGBA8 = 34 };
/// Component type of the initial data; the default is unsigned bytes.
enum class Type { Default = -1 };

/// A two-dimensional texture of the current context. The format and the type have one value each so
/// far and are not looked at.
class Texture2D {
 public:
  /// Sizes in texels; mipmaps asks for a mipmap filter. The data are width * height RGBA texels,
  /// copied here; null leaves the texels undefined. Leaves no texture bound.
  Texture2D(InternalFormat format, int width, int height, bool mipmaps, const void* data,
            Type type);
  ~Texture2D();
  Texture2D(const Texture2D&) = delete;
  Texture2D& operator=(const Texture2D&) = delete;

  /// OpenGL's name for it, which stays this object's.
  unsigned id() const { return fTexture; }

 private:
  unsigned fTexture = 0;
};

/// A frame-buffer object of the current context: OpenGL 3.0's or ARB_framebuffer_object's where
/// there is one, else EXT_framebuffer_object's.
class Framebuffer {
 public:
  /// Throws LogicalException when the current context has neither.
  Framebuffer();
  ~Framebuffer();
  Framebuffer(const Framebuffer&) = delete;
  Framebuffer& operator=(const Framebuffer&) = delete;

  /// Makes it the target of drawing.
  void bind();
  /// Makes the texture's level the colorIndex-th colour attachment; the object must be bound and
  /// the texture outlive it.
  void attach(Texture2D* texture, unsigned colorIndex, unsigned level);
  /// Makes the surface of the context the target again.
  void unbind();

 private:
  bool fCore;
  unsigned fFramebuffer = 0;
};

}  // namespace ZOR::OGL
