#pragma once

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

}  // namespace ZOR::OGL
