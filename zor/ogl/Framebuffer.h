#pragma once

namespace ZOR::OGL {

class Texture2D;

/// A frame-buffer object of the current context: OpenGL 3.0's or ARB_framebuffer_object's where
/// there is one, else EXT_framebuffer_object's.
class Framebuffer {
 public:
  /// Throws LogicalException when the current context has neither.
  Framebuffer();
  ~Framebuffer();
  Framebuffer(const Framebuffer&) = delete;
  Framebuffer& operator=(const Framebuffer&) = delete;

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
