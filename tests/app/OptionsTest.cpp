#include <gmock/gmock.h>

#include "app/Platform.h"
#include "tests/app/TestApp.h"

namespace {

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

TEST_F(OptionsTest, ThresholdsReachATesterThatExists) {
  const auto tester = app.GetTester();
  Parse({"-crashAfter=2", "-throwAfter=1"});
  EXPECT_EQ(tester->Step(), 1u);
  EXPECT_THROW(tester->Step(), std::runtime_error);
  Parse({"-throwAfter=-1", "-crashAfter=3"});
  EXPECT_EQ(tester->Step(), 3u);
  EXPECT_THROW(tester->Step(), std::runtime_error);
}

}  // namespace
