#include "zor/ogl/ExtensionManager.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <tuple>

#include "tests/support/FakeGL.h"
#include "zor/ogl/OpenGLInterceptor.h"

using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::ExtensionManager;
using ZOR::OGL::ParseGLVersion;

TEST(GLVersionText, LeadingNumberOfEveryMakersText) {
  const std::tuple<const char*, unsigned, unsigned, unsigned> cases[] = {
      {"4.5 (Compatibility Profile) Mesa 22.3.6", 4, 5, 0},
      {"4.6.14761 Compatibility Profile Context 21.40.1", 4, 6, 14761},
      {"4.4.0 - Build 20.19.15.4549", 4, 4, 0},
      {"2.1 APPLE-18.5.9", 2, 1, 0},
      {"10.0", 10, 0, 0},
      {"3", 3, 0, 0},
      {"", 0, 0, 0},
      {"OpenGL ES 3.2", 0, 0, 0},
      {"99999999999.1", 0, 1, 0},
      {".1", 0, 0, 0},
      {"-4.5", 0, 0, 0},
  };
  for (const auto& [text, major, minor, release] : cases) {
    const ZOR::OGL::GLVersion v = ParseGLVersion(text);
    EXPECT_EQ(std::tie(v.major, v.minor, v.release), std::tie(major, minor, release)) << text;
  }
}

TEST(ExtensionManager, VersionsUpToTheContextsAreSupported) {
  // How many of the numbers 0 to 12, from 0 on.
  const std::pair<const char*, unsigned> cases[] = {{"", 0},      {"1.1", 0},     {"1.2", 1},
                                                    {"1.2.1", 2}, {"1.3.0", 3},   {"2.1 Mesa", 7},
                                                    {"4.0", 12},  {"4.6.0 N", 13}};
  for (const auto& [version, supported] : cases) {
    FakeGL gl;
    gl.version = version;
    ContextOffscreen context(gl.devices[0]);
    context.makeCurrent();
    for (unsigned number = 0; number <= 12; ++number)
      EXPECT_EQ(ExtensionManager::Instance()->isSupported(number), number < supported) << version;
  }
}

TEST(ExtensionManager, ExtensionsMatchByWholeName) {
  const std::pair<unsigned, const char*> cases[] = {{27, "GL_ARB_fragment_program"},
                                                    {53, "GL_ARB_texture_float"},
                                                    {56, "GL_ARB_texture_non_power_of_two"},
                                                    {81, "GL_EXT_framebuffer_object"}};
  std::map<std::string, std::string> names;
#define NAMED(name, number, text) names[#name] = text;
  ZOR_GL_EXTENSIONS(NAMED)
  for (auto& [name, text] : names) {
    for (char& c : text) c = static_cast<char>(std::toupper(c));
    EXPECT_EQ(name, text);
  }
  for (const char* version : {"2.1", "3.1"}) {
    for (const auto& [number, name] : cases) {
      FakeGL gl;
      gl.version = version;
      gl.extensions = {std::string("X") + name, std::string(name) + "X"};
      for (const bool listed : {false, true}) {
        if (listed) gl.extensions.push_back(name);
        ContextOffscreen context(gl.devices[0]);
        context.makeCurrent();
        EXPECT_EQ(ExtensionManager::Instance()->isSupported(number), listed) << name;
      }
      // The joined list is an error from 3.1 on.
      EXPECT_EQ(std::count(gl.calls.begin(), gl.calls.end(), "glGetString(7939)"),
                *version == '3' ? 0 : 2);
    }
  }
}
