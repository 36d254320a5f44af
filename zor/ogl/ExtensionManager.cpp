#include "zor/ogl/ExtensionManager.h"

#include <algorithm>
#include <charconv>
#include <tuple>

#include "zor/ogl/ContextState.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace ZOR::OGL {
namespace {

struct VersionEntry {
  unsigned number;
  GLVersion version;
};

constexpr VersionEntry kVersions[] = {
    {0, {1, 2, 0}},  {1, {1, 2, 1}},  {2, {1, 3, 0}},  {3, {1, 4, 0}}, {4, {1, 5, 0}},
    {5, {2, 0, 0}},  {6, {2, 1, 0}},  {7, {3, 0, 0}},  {8, {3, 1, 0}}, {9, {3, 2, 0}},
    {10, {3, 3, 0}}, {11, {4, 0, 0}}, {12, {4, 1, 0}},
};

struct ExtensionEntry {
  unsigned number;
  const char* name;
};

constexpr ExtensionEntry kExtensions[] = {
    {27, "GL_ARB_fragment_program"},   {28, "GL_ARB_fragment_shader"},
    {37, "GL_ARB_occlusion_query"},    {47, "GL_ARB_shader_texture_lod"},
    {53, "GL_ARB_texture_float"},      {56, "GL_ARB_texture_non_power_of_two"},
    {58, "GL_ARB_texture_rectangle"},  {68, "GL_ARB_vertex_buffer_object"},
    {69, "GL_ARB_vertex_program"},     {70, "GL_ARB_vertex_shader"},
    {81, "GL_EXT_framebuffer_object"},
};

auto rank(const GLVersion& v) {
  return std::tie(v.major, v.minor, v.release);
}

const char* textOf(const GLubyte* text) {
  return text ? reinterpret_cast<const char*>(text) : "";
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
    for (GLint i = 0; i < count; ++i)
      fNames.insert(textOf(gl.glGetStringi(ZOR_HERE, GL_EXTENSIONS, static_cast<GLuint>(i))));
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
  for (const VersionEntry& entry : kVersions)
    if (entry.number == extension) return rank(fVersion) >= rank(entry.version);
  for (const ExtensionEntry& entry : kExtensions)
    if (entry.number == extension) return isListed(entry.name);
  return false;
}

bool ExtensionManager::isListed(std::string_view name) const {
  return fNames.find(name) != fNames.end();
}

const ExtensionManager* ExtensionManager::Instance() {
  return ContextState::Current ? &ContextState::Current->extensions : nullptr;
}

}  // namespace ZOR::OGL
