#pragma once

#include <set>
#include <string>
#include <string_view>

namespace ZOR::OGL {

class OpenGLInterceptor;

// clang-format off

/// The versions that are asked for, X(name, number, major, minor, release), in ascending order.
#define ZOR_GL_VERSIONS(X)                                                                   \
  X(Version_1_2, 0, 1, 2, 0) X(Version_1_2_1, 1, 1, 2, 1) X(Version_1_3, 2, 1, 3, 0)         \
  X(Version_1_4, 3, 1, 4, 0) X(Version_1_5, 4, 1, 5, 0)   X(Version_2_0, 5, 2, 0, 0)         \
  X(Version_2_1, 6, 2, 1, 0) X(Version_3_0, 7, 3, 0, 0)   X(Version_3_1, 8, 3, 1, 0)         \
  X(Version_3_2, 9, 3, 2, 0) X(Version_3_3, 10, 3, 3, 0)  X(Version_4_0, 11, 4, 0, 0)        \
  X(Version_4_1, 12, 4, 1, 0)

/// The extensions that are asked for, X(name, number, the driver's name).
#define ZOR_GL_EXTENSIONS(X)                                                                 \
  X(GL_ARB_FRAGMENT_PROGRAM, 27, "GL_ARB_fragment_program")                                  \
  X(GL_ARB_FRAGMENT_SHADER, 28, "GL_ARB_fragment_shader")                                    \
  X(GL_ARB_OCCLUSION_QUERY, 37, "GL_ARB_occlusion_query")                                    \
  X(GL_ARB_SHADER_TEXTURE_LOD, 47, "GL_ARB_shader_texture_lod")                              \
  X(GL_ARB_TEXTURE_FLOAT, 53, "GL_ARB_texture_float")                                        \
  X(GL_ARB_TEXTURE_NON_POWER_OF_TWO, 56, "GL_ARB_texture_non_power_of_two")                  \
  X(GL_ARB_TEXTURE_RECTANGLE, 58, "GL_ARB_texture_rectangle")                                \
  X(GL_ARB_VERTEX_BUFFER_OBJECT, 68, "GL_ARB_vertex_buffer_object")                          \
  X(GL_ARB_VERTEX_PROGRAM, 69, "GL_ARB_vertex_program")                                      \
  X(GL_ARB_VERTEX_SHADER, 70, "GL_ARB_vertex_shader")                                        \
  X(GL_EXT_FRAMEBUFFER_OBJECT, 81, "GL_EXT_framebuffer_object")

// clang-format on

/// What can be asked of a context. Reports carry the numbers, so they never change.
enum OpenGLExtension : unsigned {
#define ZOR_GL_NUMBER(name, number, ...) name = number,
  ZOR_GL_VERSIONS(ZOR_GL_NUMBER) ZOR_GL_EXTENSIONS(ZOR_GL_NUMBER)
#undef ZOR_GL_NUMBER
};

struct GLVersion {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned release = 0;
};

/// A version and the number by which it is asked for.
struct NumberedVersion {
  OpenGLExtension number;
  GLVersion version;
};

/// All of them, the lowest first.
inline constexpr NumberedVersion kVersions[] = {
#define ZOR_GL_VERSION(name, number, major, minor, release) {name, {major, minor, release}},
    ZOR_GL_VERSIONS(ZOR_GL_VERSION)
#undef ZOR_GL_VERSION
};

/// The leading number of a GL_VERSION text; zeros for what it does not hold.
GLVersion ParseGLVersion(std::string_view text);

/// What one context's driver offers.
class ExtensionManager {
 public:
  /// Reads version and extensions of the current context; leaves no GL error pending.
  void load(const OpenGLInterceptor& gl);

  /// A version is supported when the context's is at least that, an extension when the driver
  /// lists its whole name. Takes an OpenGLExtension; other numbers are not supported.
  bool isSupported(unsigned extension) const;
  /// By the extension's own name, "GL_ARB_texture_float".
  bool isListed(std::string_view name) const;

  /// That of the current context; null when none is current.
  static const ExtensionManager* Instance();

 private:
  GLVersion fVersion;
  std::set<std::string, std::less<>> fNames;
};

}  // namespace ZOR::OGL
