#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/make_shared.hpp>

#include "bench/floor/shader_texts.h"
#include "log/ReportFailure.h"
#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGL.h"
#include "tests/support/GoldenReport.h"
#include "tests/support/LogCapture.h"

namespace {

class GPUImplHardwareGL : public testing::Test {
 protected:
  /// Makes the context and forgets the calls of loading.
  void open(const std::string& version = "4.5") {
    gl.version = version;
    impl.glContext = boost::make_shared<ZOR::OGL::ContextOffscreen>(gl.devices[0]);
    impl.DoGLIsExtensionSupported(0);
    gl.calls.clear();
  }

  FakeGL gl;
  Hardware impl;
};

constexpr char kPendingError[] = "Failed requirement: glStatus == GL_NO_ERROR";

TEST_F(GPUImplHardwareGL, VersionIsTheHighestSupported) {
  for (const auto& [version, answer] : std::map<std::string, std::string>{
           {"1.2.1", "1.2"}, {"2.0", "2.0"}, {"3.3", "3.3"}, {"4.6", "4.1"}}) {
    open(version);
    EXPECT_EQ(impl.DoGetGLVersion(), answer);
  }
  open("1.1");
  EXPECT_THROW(impl.DoGetGLVersion(), std::runtime_error);
  class Nowhere : public ZOR::OGL::Context {
    void makeCurrent() override {}
  };
  impl.glContext = boost::make_shared<Nowhere>();
  testing::internal::CaptureStderr();
  EXPECT_FALSE(impl.DoHasGLNPOTSupport());
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ZOR::OGL::ExtensionManager::Instance() returned NULL\n");
}

TEST_F(GPUImplHardwareGL, PlainQueries) {
  gl.strings[GL_VENDOR] = "Larkspan \"Labs\"";
  gl.integers = {{GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB, 16384},
                 {GL_MAX_PROGRAM_INSTRUCTIONS_ARB, 512}};
  gl.extensions = {"GL_ARB_texture_non_power_of_two"};
  open();
  EXPECT_EQ(impl.DoGetGLVendor(), "Larkspan \"Labs\"");
  EXPECT_EQ(impl.DoGetGLName(), "");  // the driver's null
  EXPECT_EQ(impl.DoGLGetString(GL_RENDERER), nullptr);
  EXPECT_EQ(impl.DoGetGLRectTextureSize(), 16384U);
  EXPECT_TRUE(impl.DoHasGLNPOTSupport());
  EXPECT_EQ(gl.current, nullptr) << "a question left its context current";
  int value = 0;
  for (const auto& [function, question] : std::map<std::string, std::function<void()>>{
           {"glGetString", [&] { impl.DoGLGetString(GL_VENDOR); }},
           {"glGetIntegerv", [&] { impl.DoGLGetIntegerv(1, &value); }},
           {"glGetProgramivARB",
            [&] { impl.DoGLGetProgramivARB(1, GL_MAX_PROGRAM_INSTRUCTIONS_ARB, &value); }}}) {
    gl.errorAfter = {{function, GL_INVALID_ENUM}};
    EXPECT_EQ(failureOf(question), kPendingError) << function;
    gl.errorAfter.clear();
    EXPECT_EQ(failureOf(question), "none") << "the error was not taken";
  }
  EXPECT_EQ(value, 512);
}

TEST_F(GPUImplHardwareGL, GLSLProgramsAreJoinedWithNothingBetween) {
  open();
  EXPECT_TRUE(impl.DoCompileProgramGLSL());
  EXPECT_EQ(gl.sources, std::string(kVertexText) + '\n' + kFragmentText + '\n');
  EXPECT_THAT(gl.calls, testing::IsSupersetOf({"glShaderSource(2, 13, ptr, null)",
                                               "glShaderSource(3, 76, ptr, null)",
                                               "glAttachShader(1, 2)", "glAttachShader(1, 3)"}));
  // A driver that refuses is no failure of the question.
  gl.informationLog = "0:1: not today\n0:2: nor tomorrow";
  LogCapture log;
  for (GLint* status : {&gl.shaderStatus, &gl.linkStatus}) {
    *status = GL_FALSE;
    EXPECT_FALSE(impl.DoCompileProgramGLSL());
    EXPECT_THAT(log.take(), testing::HasSubstr("0:1: not today 0:2: nor tomorrow"));
    *status = GL_TRUE;
  }
  open("1.5");
  EXPECT_FALSE(impl.DoCompileProgramGLSL());
  EXPECT_TRUE(gl.calls.empty()) << "a call that the driver does not know leaves an error";
}

TEST_F(GPUImplHardwareGL, RenderTestIsFalseAtAnyPendingError) {
  open();
  EXPECT_TRUE(impl.DoGLFramebufferOK());
  EXPECT_EQ(gl.calls, goldenLines("framebuffer"));
  gl.pendingError = GL_INVALID_VALUE;  // left by somebody else
  EXPECT_FALSE(impl.DoGLFramebufferOK());
  gl.errorAfter = {{"glBindFramebuffer", GL_INVALID_OPERATION}};
  EXPECT_EQ(failureOf([&] { EXPECT_FALSE(impl.DoGLFramebufferOK()); }), "none");
  gl.errorAfter.clear();
  EXPECT_TRUE(impl.DoGLFramebufferOK());
}

}  // namespace
