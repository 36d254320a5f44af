#pragma once

namespace ZOR::OGL {

/// Numbers of this library's own list of colour formats.
enum class InternalFormat { RGBA8 = 34 };
/// Component type of the initial data; the default is unsigned bytes.
enum class Type { Default = -1 };

/// A two-dimensional texture of the current context.
class Texture2D {
 public:
  /// Sizes in texels; mipmaps asks for a mipmap filter; null data leaves the texels undefined.
  Texture2D(InternalFormat format, int width, int height, bool mipmaps, const void* data,
            Type type);
  ~Texture2D();
  Texture2D(const Texture2D&) = delete;
  Texture2D& operator=(const Texture2D&) = delete;

  unsigned id() const { return fTexture; }

 private:
  unsigned fTexture = 0;
};

}  // namespace ZOR::OGL
