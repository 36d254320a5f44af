#include <gmock/gmock.h>

#include <ctime>

#include "Probe.h"
#include "core/Exceptions.h"

namespace {

const char* const usage = R"(Usage exception: usage
usage: 
    -help {show this message}
    -crashAfter=N {GPUSnifferTester should crash after N steps}
    -throwAfter=N {GPUSnifferTester should throw after N steps}
    -app=SomeApp {specify name of host app}
    -stdout=line_of_stdout {puts the line to stdout as-is}
    -stderr=line_of_stderr {puts the line to stderr as-is}
    -exit=N {app should exit with N}
    -verbose=N {verbosity level}
    -timeout=N {Mac only, SIGALRM kills sniffer after N seconds, if not finished}
    -comment=line_of_comment {outputs '# line_of_comment'}
    -hang=N {before exit, sleep for N milliseconds}
)";

TEST(AppTest, UsageErrorsWriteNoReport) {
  const std::pair<ArgumentList, const char*> cases[] = {
      {{"-help", "-stdout=no"}, ""},
      {{"-exit=7", "-no=1"}, ""},
      {{""}, ""},
      {{"-stdout=before", "stray", "-stdout=after"}, "before\nafter\n"}};
  for (const auto& [arguments, out] : cases) {
    Probe probe;
    EXPECT_EQ(probe.RunWith(arguments), 3);
    EXPECT_EQ(probe.out, out);
    EXPECT_EQ(probe.err, usage);
    EXPECT_EQ(probe.fHostApp, "gpuprobe");
  }
}

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
  for (const std::string failing : {"DoGetGLDriver", "DoGetNativeGPUs"}) {
    for (const auto& failure : cases) {
      fakeMachine = {};
      fakeMachine.gl = 2;
      fakeMachine.onQuestion = [&](const std::string& gpu, const std::string& operation) {
        if (operation == failing && gpu != "glgpu[1]") failure.first();
      };
      const bool fails = *failure.second;
      const bool question = failing == "DoGetGLDriver";
      Probe probe;
      EXPECT_EQ(probe.RunWith({"-exit=7"}), fails ? 2 : 7);
      EXPECT_EQ(probe.err, failure.second);
      EXPECT_EQ(probe.out.find("glgpu[0].GLDriver=") == std::string::npos, fails && question);
      EXPECT_NE(probe.out.find("glgpu[1].GLDriver="), std::string::npos);
      EXPECT_EQ(probe.out.find("snifferEnd") == std::string::npos, fails && !question);
    }
  }
}

TEST(AppTest, RealTesterClockAndStreams) {
  struct Bare : GPUSnifferApp {
    boost::shared_ptr<GPUSnifferTester> CreateTester() override { return {}; }
  } bare;
  const auto tester = bare.GetTester();
  EXPECT_EQ(bare.GetTester(), tester);
  const std::time_t now = std::time(nullptr);
  char today[16];
  std::strftime(today, sizeof today, "%Y-%m-%d_%H", std::localtime(&now));
  EXPECT_THAT(tester->GetTimeString(), testing::MatchesRegex(today + std::string(":..:..")));

  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  tester->DoRunTesterName();
  bare.DoStdout("a \"line\"");
  bare.DoComment("said");
  bare.DoStderr("error");
  ArgumentList none;
  EXPECT_EQ(MySniffer().Run(none = {"", "-throwAfter=0"}), 2);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "a \"line\"\n# said\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "error\nexception: Programmed throw\n");
}

}  // namespace
