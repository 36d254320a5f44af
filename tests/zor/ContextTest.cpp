#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGL.h"
#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/Objects.h"
#include "zor/ogl/OpenGLInterceptor.h"

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
    const ExtensionManager* outerExtensions = ExtensionManager::Instance();
    const void* outerNative = gl.current;
    {
      const ScopedContextWrapper innerScope(true);
      inner.makeCurrent();
      EXPECT_NE(gl.current, outerNative);
    }
    EXPECT_EQ(gl.current, outerNative);
    EXPECT_EQ(ExtensionManager::Instance(), outerExtensions);
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
      {"2.1", "GL_EXT_framebuffer_object", "glGenFramebuffersEXT(1, ptr)"},
      {"2.1", "", nullptr},
  };
  for (const auto& [version, extension, call] : cases) {
    FakeGL gl;
    gl.version = version;
    gl.extensions = {extension};
    ContextOffscreen context(gl.devices[0]);
    context.makeCurrent();
    if (!call) {
      EXPECT_THROW(Framebuffer(), ZOR::LogicalException);
      continue;
    }
    { Framebuffer framebuffer; }
    EXPECT_EQ(std::count(gl.calls.begin(), gl.calls.end(), call), 1) << version;
  }
}
