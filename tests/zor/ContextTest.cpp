#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/FakeGL.h"
#include "zor/core/Exceptions.h"
#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/Framebuffer.h"
#include "zor/ogl/OpenGLInterceptor.h"
#include "zor/ogl/ScopedContextWrapper.h"
#include "zor/ogl/Texture2D.h"

using ZOR::OGL::Context;
using ZOR::OGL::ContextOffscreen;
using ZOR::OGL::ExtensionManager;
using ZOR::OGL::OpenGLInterceptor;
using ZOR::OGL::ScopedContextWrapper;

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
  ZOR::OGL::traceHook = [](const char* name, const char* file, int line) {
    trace = std::string(name) + ' ' + file + ' ' + std::to_string(line);
  };
  try {
    OpenGLInterceptor::Instance().glEnd("somewhere.cpp", 77);
    ADD_FAILURE();
  } catch (const ZOR::LogicalException& e) {
    EXPECT_STREQ(e.message(), "glEnd is not offered by the driver");
  }
  ZOR::OGL::traceHook = nullptr;
  EXPECT_EQ(trace, "glEnd somewhere.cpp 77");
}

TEST(Framebuffer, TakesTheFunctionsThatTheDriverHas) {
  const struct {
    const char* version;
    const char* extension;
    const char* call;
  } cases[] = {
      {"3.0", "", "glGenFramebuffers(1, ptr)"},
      {"2.1", "GL_ARB_framebuffer_object", "glGenFramebuffers(1, ptr)"},
      {"2.1", "GL_EXT_framebuffer_object", "glGenFramebuffersEXT(1, ptr)"},
      {"2.1", "", nullptr},
  };
  for (const auto& c : cases) {
    FakeGL gl;
    gl.version = c.version;
    gl.extensions = {c.extension};
    ContextOffscreen context(gl.devices[0]);
    context.makeCurrent();
    if (!c.call) {
      EXPECT_THROW(ZOR::OGL::Framebuffer(), ZOR::LogicalException);
      continue;
    }
    { ZOR::OGL::Framebuffer framebuffer; }
    EXPECT_EQ(std::count(gl.calls.begin(), gl.calls.end(), c.call), 1) << c.version;
  }
}
