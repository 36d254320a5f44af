#include "ogl/ExtensionManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeGL.h"
#include "ogl/OpenGLInterceptor.h"

using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::ExtensionManager;
using ZOR::OGL::ParseGLVersion;

TEST(GLVersionText, LeadingNumberOfEveryMakersText) {
  const struct {
    const char* text;
    int major, minor, release;
  } cases[] = {
      {"4.5 (Compatibility Profile) Mesa 22.3.6", 4, 5, 0},
      {"4.6.0 NVIDIA 535.54.03", 4, 6, 0},
      {"4.6.14761 Compatibility Profile Context 21.40.1", 4, 6, 14761},
      {"4.4.0 - Build 20.19.15.4549", 4, 4, 0},
      {"2.1 APPLE-18.5.9", 2, 1, 0},
      {"1.2.1", 1, 2, 1},
      {"10.0", 10, 0, 0},
      {"3", 3, 0, 0},
      {"", 0, 0, 0},
      {"OpenGL ES 3.2", 0, 0, 0},
      {"99999999999.1", 0, 1, 0},
  };
  for (const auto& c : cases) {
    const ZOR::OGL::GLVersion v = ParseGLVersion(c.text);
    EXPECT_EQ(v.major, c.major) << c.text;
    EXPECT_EQ(v.minor, c.minor) << c.text;
    EXPECT_EQ(v.release, c.release) << c.text;
  }
}

TEST(ExtensionManager, VersionsUpToTheContextsAreSupported) {
  const struct {
    const char* version;
    std::vector<unsigned> supported;
  } cases[] = {
      {"1.1", {}},
      {"1.2", {0}},
      {"1.2.1", {0, 1}},
      {"1.3.0", {0, 1, 2}},
      {"2.1 Mesa", {0, 1, 2, 3, 4, 5, 6}},
      {"4.0", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}},
      {"4.6.0 NVIDIA 1", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {"", {}},
  };
  for (const auto& c : cases) {
    FakeGL gl;
    gl.version = c.version;
    ContextOffscreen context(gl.devices[0]);
    context.makeCurrent();
    std::vector<unsigned> supported;
    for (unsigned number = 0; number <= 12; ++number)
      if (ExtensionManager::Instance()->isSupported(number)) supported.push_back(number);
    EXPECT_EQ(supported, c.supported) << c.version;
  }
}

TEST(ExtensionManager, ExtensionsMatchByWholeName) {
  const struct {
    unsigned number;
    const char* name;
  } cases[] = {
      {27, "GL_ARB_fragment_program"},   {28, "GL_ARB_fragment_shader"},
      {37, "GL_ARB_occlusion_query"},    {47, "GL_ARB_shader_texture_lod"},
      {53, "GL_ARB_texture_float"},      {56, "GL_ARB_texture_non_power_of_two"},
      {58, "GL_ARB_texture_rectangle"},  {68, "GL_ARB_vertex_buffer_object"},
      {69, "GL_ARB_vertex_program"},     {70, "GL_ARB_vertex_shader"},
      {81, "GL_EXT_framebuffer_object"},
  };
  for (const char* version : {"2.1", "3.3"}) {
    for (const auto& c : cases) {
      FakeGL gl;
      gl.version = version;
      gl.extensions = {"GL_OTHER", std::string("X") + c.name, std::string(c.name) + "X"};
      ContextOffscreen without(gl.devices[0]);
      without.makeCurrent();
      EXPECT_FALSE(ExtensionManager::Instance()->isSupported(c.number)) << c.name;
      gl.extensions.push_back(c.name);
      ContextOffscreen with(gl.devices[0]);
      with.makeCurrent();
      EXPECT_TRUE(ExtensionManager::Instance()->isSupported(c.number)) << c.name;
      EXPECT_FALSE(ExtensionManager::Instance()->isSupported(1000));
    }
  }
}

TEST(ExtensionManager, JoinedListIsNotAskedWhereItIsAnError) {
  FakeGL gl;
  gl.version = "3.1";
  ContextOffscreen context(gl.devices[0]);
  context.makeCurrent();
  EXPECT_THAT(gl.calls, testing::Not(testing::Contains("glGetString(7939)")));
}
