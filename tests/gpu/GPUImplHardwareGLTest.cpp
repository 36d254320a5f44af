#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/make_shared.hpp>

#include "bench/floor/shader_texts.h"
#include "log/ReportFailure.h"
#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGL.h"
#include "tests/support/LogCapture.h"
#include "zor/core/Exceptions.h"

namespace {

std::vector<std::string> reported;

class GPUImplHardwareGL : public testing::Test {
 protected:
  void SetUp() override {
    reported.clear();
    reportSink = [](const std::string& text) { reported.push_back(text); };
  }
  void TearDown() override { reportSink = fOldSink; }

  /// Makes the context and forgets the calls of loading.
  void open() {
    impl.glContext = boost::make_shared<ZOR::OGL::ContextOffscreen>(gl.devices[0]);
    impl.DoGLIsExtensionSupported(0);
    gl.calls.clear();
  }

  FakeGL gl;
  Hardware impl;

 private:
  ReportSink fOldSink = reportSink;
};

std::string thrownBy(const std::function<void()>& question) {
  try {
    question();
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "nothing thrown";
}

constexpr char kPendingError[] = "Failed requirement: glStatus == GL_NO_ERROR";

TEST_F(GPUImplHardwareGL, VersionIsTheHighestSupported) {
  const struct {
    const char* version;
    const char* answer;
  } cases[] = {{"1.2.1", "1.2"}, {"3.3", "3.3"}, {"4.6", "4.1"}};
  for (const auto& c : cases) {
    gl.version = c.version;
    open();
    EXPECT_EQ(impl.DoGetGLVersion(), c.answer);
  }
  gl.version = "1.1";
  open();
  EXPECT_EQ(thrownBy([&] { impl.DoGetGLVersion(); }), "Cannot determine OGL version");
  EXPECT_TRUE(reported.empty());
}

TEST_F(GPUImplHardwareGL, MissingExtensionSetIsReportedAndAnswersFalse) {
  class Nowhere : public ZOR::OGL::Context {
    void makeCurrent() override {}
  };
  impl.glContext = boost::make_shared<Nowhere>();
  EXPECT_FALSE(impl.DoHasGLNPOTSupport());
  EXPECT_EQ(thrownBy([&] { impl.DoGetGLVersion(); }), "Cannot determine OGL version");
  EXPECT_EQ(reported,
            std::vector<std::string>(2, "ZOR::OGL::ExtensionManager::Instance() returned NULL"));
}

TEST_F(GPUImplHardwareGL, PlainQueries) {
  gl.strings[GL_VENDOR] = "Larkspan \"Labs\"";
  gl.integers[GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB] = 16384;
  gl.integers[GL_MAX_PROGRAM_INSTRUCTIONS_ARB] = 512;
  gl.extensions = {"GL_ARB_texture_non_power_of_two"};
  open();
  EXPECT_EQ(impl.DoGetGLVendor(), "Larkspan \"Labs\"");
  EXPECT_EQ(impl.DoGetGLName(), "");  // the driver's null
  EXPECT_EQ(impl.DoGLGetString(GL_RENDERER), nullptr);
  EXPECT_EQ(impl.DoGetGLRectTextureSize(), 16384U);
  EXPECT_TRUE(impl.DoHasGLNPOTSupport());
  int value = 0;
  impl.DoGLGetProgramivARB(GL_FRAGMENT_PROGRAM_ARB, GL_MAX_PROGRAM_INSTRUCTIONS_ARB, &value);
  EXPECT_EQ(value, 512);
  EXPECT_EQ(gl.current, nullptr) << "a question left its context current";
}

TEST_F(GPUImplHardwareGL, PendingErrorEndsTheQuestionOnce) {
  open();
  int value = 0;
  const std::pair<const char*, std::function<void()>> questions[] = {
      {"glGetString", [&] { impl.DoGLGetString(GL_VENDOR); }},
      {"glGetIntegerv", [&] { impl.DoGLGetIntegerv(1, &value); }},
      {"glGetProgramivARB", [&] { impl.DoGLGetProgramivARB(1, 2, &value); }},
  };
  for (const auto& [function, question] : questions) {
    reported.clear();
    gl.errorAfter = {{function, GL_INVALID_ENUM}};
    EXPECT_EQ(thrownBy(question), kPendingError) << function;
    EXPECT_EQ(reported, std::vector<std::string>{kPendingError});
    EXPECT_EQ(value, 0);
    gl.errorAfter.clear();
    EXPECT_EQ(thrownBy(question), "nothing thrown") << "the error was not taken";
  }
}

TEST_F(GPUImplHardwareGL, GLSLProgramsAreJoinedWithNothingBetween) {
  open();
  EXPECT_TRUE(impl.DoCompileProgramGLSL());
  EXPECT_EQ(gl.sources, std::string(kVertexText) + '\n' + kFragmentText + '\n');
  EXPECT_THAT(gl.calls, testing::Contains("glShaderSource(2, 13, null)"));
  EXPECT_THAT(gl.calls, testing::Contains("glShaderSource(3, 76, null)"));
}

TEST_F(GPUImplHardwareGL, GLSLRefusedByTheDriverIsFalse) {
  gl.informationLog = "0:1: not today\n0:2: nor tomorrow";
  LogCapture log;
  open();
  gl.shaderStatus = GL_FALSE;
  EXPECT_FALSE(impl.DoCompileProgramGLSL());
  EXPECT_THAT(log.take(), testing::HasSubstr("0:1: not today 0:2: nor tomorrow"));
  gl.shaderStatus = GL_TRUE;
  gl.linkStatus = GL_FALSE;
  EXPECT_FALSE(impl.DoCompileProgramGLSL());
  gl.version = "1.5";
  open();
  EXPECT_FALSE(impl.DoCompileProgramGLSL());
  EXPECT_TRUE(gl.calls.empty()) << "a call that the driver does not know leaves an error";
  EXPECT_TRUE(reported.empty());
}

TEST_F(GPUImplHardwareGL, RenderTestMakesExactlyTheseCalls) {
  open();
  EXPECT_TRUE(impl.DoGLFramebufferOK());
  std::string calls;
  for (const std::string& call : gl.calls) calls += call + ' ';
  EXPECT_EQ(calls,
            "glGenTextures(1, ptr) glBindTexture(3553, 1) glTexParameteri(3553, 10241, 9729) "
            "glTexImage2D(3553, 0, 32856, 32, 32, 0, 6408, 5121, null) glBindTexture(3553, 0) "
            "glGenFramebuffers(1, ptr) glMatrixMode(5889) glPushMatrix() glLoadIdentity() "
            "glMatrixMode(5888) glPushMatrix() glLoadIdentity() glMatrixMode(5888) glPopMatrix() "
            "glMatrixMode(5889) glPopMatrix() glRotatef(10.00, 0.000, 0.000, 0.000) "
            "glTranslatef(0.000, 0.000, 0.000) glColor4f(1.000, 1.000, 1.000, 1.000) "
            "glScalef(1.000, 1.000, 1.000) glBindFramebuffer(36160, 2) "
            "glFramebufferTexture2D(36160, 36064, 3553, 1, 0) "
            "glClearColor(255.0, 255.0, 255.0, 255.0) glClear(16384) "
            "glFogfv(2918, 255 255 255 255) glEnable(2912) glEnable(3456) glEnable(2977) "
            "glEnable(3042) glEnable(34037) glFogf(2915, 0.000) glFogf(2916, 0.000) "
            "glFogi(2917, 9729) glHint(3156, 4354) glEnable(3042) glBlendFunc(770, 771) "
            "glClearDepth(1.000) glViewport(0, 0, 100, 100) glBegin(7) "
            "glMultiTexCoord2i(33984, 0, 0) glVertex3f(0.000, 0.000, 0.000) "
            "glMultiTexCoord2i(33984, 100, 0) glVertex3f(100.0, 0.000, 0.000) "
            "glMultiTexCoord2i(33984, 100, 100) glVertex3f(100.0, 100.0, 0.000) "
            "glMultiTexCoord2i(33984, 0, 100) glVertex3f(0.000, 100.0, 0.000) glEnd() glBegin(7) "
            "glTexCoord2i(100, 0) glVertex2i(100, 100) glTexCoord2i(0, 0) glVertex2i(0, 100) "
            "glTexCoord2i(0, 100) glVertex2i(0, 0) glTexCoord2i(100, 100) glVertex2i(100, 0) "
            "glEnd() glDisable(2912) glDisable(2896) glDisable(34037) glBindFramebuffer(36160, 0) "
            "glGetError() glDeleteFramebuffers(1, ptr) glDeleteTextures(1, ptr) ");
}

TEST_F(GPUImplHardwareGL, RenderTestIsFalseAtAnyPendingError) {
  open();
  gl.pendingError = GL_INVALID_VALUE;  // left by somebody else
  EXPECT_FALSE(impl.DoGLFramebufferOK());
  for (const char* call : {"glTexImage2D", "glClear", "glEnable", "glBindFramebuffer"}) {
    gl.errorAfter = {{call, GL_INVALID_OPERATION}};
    EXPECT_FALSE(impl.DoGLFramebufferOK()) << call;
  }
  gl.errorAfter.clear();
  EXPECT_TRUE(impl.DoGLFramebufferOK());
  EXPECT_TRUE(reported.empty()) << "a verdict is no failure";
}

}  // namespace
