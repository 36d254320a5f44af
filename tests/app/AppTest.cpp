#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/Platform.h"
#include "tests/app/TestApp.h"
#include "zor/core/Exceptions.h"

namespace {

struct NullText : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

// Outside the questions every kind of exception ends the run; inside, it fails one question.
TEST(AppTest, EveryKindOfExceptionIsNamed) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { throw ZOR::LogicalException("bad context"); }, "ZOR::LogicalException: bad context\n"},
      {[] { throw ZOR::LogicalException(nullptr); }, "ZOR::LogicalException: <NULL>\n"},
      {[] { throw ZOR::InternalException("f", 1, "inner"); }, "exception: inner\n"},
      {[] { throw NullText(); }, "exception: <NULL>\n"},
      {[] { throw 5; }, "unknown exception\n"},
      {[] {}, ""}};
  for (const bool question : {true, false}) {
    for (const auto& [failure, text] : cases) {
      fakeMachine = {};
      fakeMachine.gl = 2;
      fakeMachine.onQuestion = [&, fail = failure](const std::string& gpu,
                                                   const std::string& asked) {
        if (asked == (question ? "DoGetGLDriver" : "DoGetNativeGPUs") && gpu != "glgpu[1]") fail();
      };
      const bool fails = *text;
      TestApp app;
      EXPECT_EQ(app.RunWith({"-exit=7"}), fails ? 2 : 7);
      EXPECT_EQ(app.err, text);
      EXPECT_EQ(contains(app.out, "glgpu[0].GLDriver="), !fails || !question);
      EXPECT_TRUE(contains(app.out, "glgpu[1].GLDriver="));
      EXPECT_EQ(contains(app.out, "snifferEnd"), !fails || question);
    }
  }
}

TEST(AppTest, EndsWithTheProcessAndWhatEscapesItIs4) {
  static unsigned alive = 0, told = 0;
  struct Broken : GPUSnifferApp {
    Broken() { ++alive; }
    ~Broken() override { --alive; }
    void DoStderr(const std::string&) override {
      if (++told > 20) throw 5;
    }
  };
  std::string program = "gpuprobe", help = "-help";
  char* arguments[] = {program.data(), help.data()};
  EXPECT_EQ(RunApplication<Broken>(2, arguments), 3);
  EXPECT_EQ(RunApplication<Broken>(2, arguments), 4);
  EXPECT_EQ(alive, 0U);
}

class OptionsTest : public testing::Test {
 protected:
  ~OptionsTest() override { ArmTimeout(0); }
  ArgumentList Parse(ArgumentList arguments) { return app.ParseArgs(arguments), arguments; }

  TestApp app;
};

TEST_F(OptionsTest, IntegersConvertAsA32BitLong) {
  const char* const texts[] = {"0x10",  "0X1f", "010",        "12abc",       "abc",
                               "",      "08",   " \t+5",      "-3",          "3=4",
                               "\"6\"", "\"7",  "2147483648", "-2147483649", "99999999999999999999",
                               "0x"};
  const int64_t values[] = {16, 31, 8, 12, 0,          0,           0,          5,
                            -3, 3,  6, 0,  2147483647, -2147483648, 2147483647, 0};
  for (size_t i = 0; i < std::size(texts); ++i) {
    EXPECT_TRUE(Parse({std::string("-exit=") + texts[i]}).empty());
    EXPECT_EQ(app.fExitCode, values[i]) << texts[i];
  }
}

TEST_F(OptionsTest, EveryOptionReachesItsField) {
  Parse({"-crashAfter=1", "-throwAfter=4294967295", "-app=first", "-exit=3", "-verbose=4",
         "-timeout=500", "-hang=6", "-app=a=b", "-crashAfter=-1"});
  const int64_t numbers[] = {app.fCrashAfter, app.fThrowAfter, app.fExitCode,
                             app.fVerbose,    app.fTimeout,    app.fHang};
  EXPECT_THAT(numbers, testing::ElementsAre(0xFFFFFFFF, 2147483647, 3, 4, 500, 6));
  EXPECT_EQ(app.fHostApp, "a=b");
  Parse({"-app=", "-stdout=\"a b\"", "-comment=hello", "-stdout=\"", "-stdout=\"\"",
         "-stdout=\"\"x\"\"", "-stdout=\xFF=\"c", "-stderr=oops", "-stderr="});
  EXPECT_EQ(app.fHostApp, "");
  EXPECT_EQ(app.out, "a b\n# hello\n\"\n\n\"x\"\n\xFF=\"c\n");
  EXPECT_EQ(app.err, "oops\n\n");
}

TEST_F(OptionsTest, WhatIsNotUnderstoodIsLeftInOrder) {
  const ArgumentList strange = {"stray",    "-Help",    "--help",   "-help=1", "-help=",   "-",
                                "",         "-=",       "-exit",    "-Exit=1", "-exit =1", "-exi=1",
                                "-exits=1", "--exit=1", " -exit=1", "exit=1"};
  ArgumentList arguments = strange;
  arguments.insert(std::next(arguments.begin(), 3), "-exit=9");
  EXPECT_EQ(Parse(arguments), strange);
  EXPECT_EQ(app.fExitCode, 9);
  EXPECT_THROW(Parse({"-verbose=2", "-help", "-verbose=3"}), GPUSnifferApp::UsageException);
  EXPECT_EQ(app.fVerbose, 2);
}

}  // namespace
