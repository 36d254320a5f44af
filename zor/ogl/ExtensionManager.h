#pragma once

#include <set>
#include <string>
#include <string_view>

namespace ZOR::OGL {

class OpenGLInterceptor;

/// Versions and extensions go by the numbers of the report's contract (the tables in
/// ExtensionManager.cpp); these two this library asks for itself.
enum OpenGLExtension : unsigned { Version_2_0 = 5, Version_3_0 = 7 };

struct GLVersion {
  unsigned major = 0;
  unsigned minor = 0;
  unsigned release = 0;
};

/// The leading number of a GL_VERSION text; zeros for what it does not hold.
GLVersion ParseGLVersion(std::string_view text);

/// What one context's driver offers.
class ExtensionManager {
 public:
  /// Reads version and extensions of the current context; leaves no GL error pending.
  void load(const OpenGLInterceptor& gl);

  /// A version is supported when the context's is at least that, an extension when the driver
  /// lists its whole name. Unknown numbers are not supported.
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
