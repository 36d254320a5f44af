#include "zor/ogl/ExtensionManager.h"

#include <algorithm>
#include <charconv>
#include <tuple>

#include "zor/ogl/OpenGLInterceptor.h"

namespace ZOR::OGL {
namespace {

auto rank(const GLVersion& v) {
  return std::tie(v.major, v.minor, v.release);
}

const char* textOf(const GLubyte* text) {
  return Core::TextOrEmpty(reinterpret_cast<const char*>(text));
}

}  // namespace

GLVersion ParseGLVersion(std::string_view text) {
  GLVersion version;
  const char* at = text.data();
  const char* const end = at + text.size();
  for (unsigned* part : {&version.major, &version.minor, &version.release}) {
    const char* const rest = std::from_chars(at, end, *part).ptr;
    if (rest == at || rest == end || *rest != '.') break;
    at = rest + 1;
  }
  return version;
}

void ExtensionManager::load(const OpenGLInterceptor& gl) {
  fVersion = ParseGLVersion(textOf(gl.glGetString(ZOR_HERE, GL_VERSION)));
  // From 3.0 on the list is asked name by name: a core profile answers the joined text with an
  // error (OpenGL 3.1, section E.2.2), which would stay pending for the first question.
  if (fVersion.major >= 3) {
    GLint count = 0;
    gl.glGetIntegerv(ZOR_HERE, GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; ++i) {
      const GLubyte* name = gl.glGetStringi(ZOR_HERE, GL_EXTENSIONS, static_cast<GLuint>(i));
      if (!name) {
        // There are not as many as the driver says; the error that this leaves is no question's.
        gl.glGetError(ZOR_HERE);
        return;
      }
      fNames.insert(textOf(name));
    }
    return;
  }
  std::string_view rest = textOf(gl.glGetString(ZOR_HERE, GL_EXTENSIONS));
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(' '), rest.size());
    fNames.emplace(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

bool ExtensionManager::isSupported(unsigned extension) const {
  for (const NumberedVersion& asked : kVersions)
    if (asked.number == extension) return rank(fVersion) >= rank(asked.version);
  switch (extension) {
#define ZOR_GL_LISTED(name, number, text) \
  case name:                              \
    return isListed(text);
    ZOR_GL_EXTENSIONS(ZOR_GL_LISTED)
#undef ZOR_GL_LISTED
    default:
      return false;
  }
}

bool ExtensionManager::isListed(std::string_view name) const {
  return fNames.find(name) != fNames.end();
}

}  // namespace ZOR::OGL
