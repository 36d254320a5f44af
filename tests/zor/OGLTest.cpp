#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <tuple>

#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGL.h"
#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/Objects.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace {

using namespace ZOR::OGL;

TEST(Context, EachContextHasItsOwnEntryPointsAndExtensions) {
  FakeGL gl;
  ContextOffscreen first(gl.devices[0]);
  first.makeCurrent();
  OpenGLInterceptor& firstCalls = OpenGLInterceptor::Instance();
  gl.version = "1.4";
  ContextOffscreen second(gl.devices[0]);
  second.makeCurrent();
  EXPECT_NE(&OpenGLInterceptor::Instance(), &firstCalls);
  EXPECT_FALSE(ExtensionManager::Instance()->isSupported(5));
  const size_t calls = gl.calls.size();
  first.makeCurrent();
  EXPECT_EQ(gl.calls.size(), calls) << "loaded twice";
  EXPECT_EQ(&OpenGLInterceptor::Instance(), &firstCalls);
  EXPECT_TRUE(ExtensionManager::Instance()->isSupported(5));
}

TEST(Context, ScopePutsBackWhatWasCurrent) {
  FakeGL gl;
  ContextOffscreen outer(gl.devices[0]), inner(gl.devices[0]);
  {
    const ScopedContextWrapper scope(true);
    outer.makeCurrent();
    const auto current = [&] { return std::pair(gl.current, ExtensionManager::Instance()); };
    const auto ofOuter = current();
    {
      const ScopedContextWrapper innerScope(true);
      inner.makeCurrent();
      EXPECT_NE(current(), ofOuter);
    }
    EXPECT_EQ(current(), ofOuter);
  }
  EXPECT_EQ(gl.current, nullptr);
  EXPECT_EQ(ExtensionManager::Instance(), nullptr);
  EXPECT_THROW(OpenGLInterceptor::Instance(), ZOR::LogicalException);
}

TEST(Interceptor, TracesThePlaceAndNamesWhatIsMissing) {
  FakeGL gl;
  gl.lacking = {"glEnd"};
  ContextOffscreen context(gl.devices[0]);
  context.makeCurrent();
  static std::string trace;
  traceHook = [](const char* name, const char* file, int line) {
    trace = std::string(name) + ' ' + file + ' ' + std::to_string(line);
  };
  EXPECT_EQ(failureOf([] { OpenGLInterceptor::Instance().glEnd("somewhere.cpp", 77); }),
            "glEnd is not offered by the driver");
  traceHook = nullptr;
  EXPECT_EQ(trace, "glEnd somewhere.cpp 77");
}

TEST(Framebuffer, TakesTheFunctionsThatTheDriverHas) {
  const std::array<const char*, 3> cases[] = {
      {"3.0", "", "glGenFramebuffers(1, ptr)"},
      {"2.1", "GL_ARB_framebuffer_object", "glGenFramebuffers(1, ptr)"},
      {"2.1", "GL_EXT_framebuffer_object", "glGenFramebuffersEXT(1, ptr)"}};
  FakeGL gl;
  for (const auto& [version, extension, call] : cases) {
    gl.version = version;
    gl.extensions = {extension};
    ContextOffscreen context(gl.devices[0]);
    context.makeCurrent();
    gl.calls.clear();
    { Framebuffer framebuffer; }
    EXPECT_EQ(gl.calls.at(0), call) << extension;
  }
  gl.extensions.clear();
  ContextOffscreen context(gl.devices[0]);
  context.makeCurrent();
  EXPECT_THROW(Framebuffer(), ZOR::LogicalException);
}

TEST(GLVersionText, LeadingNumberOfEveryMakersText) {
  const std::tuple<const char*, unsigned, unsigned, unsigned> cases[] = {
      {"4.5 (Compatibility Profile) Mesa 22.3.6", 4, 5, 0},
      {"4.6.14761 Compatibility Profile Context 21.40.1", 4, 6, 14761},
      {"", 0, 0, 0},
      {"OpenGL ES 3.2", 0, 0, 0},
      {"99999999999.1", 0, 1, 0},
      {".1", 0, 0, 0},
      {"-4.5", 0, 0, 0},
  };
  for (const auto& [text, major, minor, release] : cases) {
    const GLVersion v = ParseGLVersion(text);
    EXPECT_EQ(std::tie(v.major, v.minor, v.release), std::tie(major, minor, release)) << text;
  }
}

TEST(ExtensionManager, VersionsUpToTheContextsAreSupported) {
  // How many of the numbers 0 to 12, from 0 on.
  const std::pair<const char*, unsigned> cases[] = {{"", 0},      {"1.1", 0},     {"1.2", 1},
                                                    {"1.2.1", 2}, {"1.3.0", 3},   {"2.1 Mesa", 7},
                                                    {"4.0", 12},  {"4.6.0 N", 13}};
  FakeGL gl;
  for (const auto& [version, supported] : cases) {
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

}  // namespace
