#include "rehearsal/Faults.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using namespace testing;
using rehearsal::EnvironmentOf, rehearsal::Fault, rehearsal::ParseFaults;
using What = rehearsal::Action;

constexpr auto kNoEnd = std::numeric_limits<std::uint64_t>::max();

TEST(Faults, AreRead) {
  const auto faults =
      ParseFaults("clFinish:2:error=-5;;*:*:noise;glGetError:3+:error=0x0502;eglLoad:1:sleep=0;");
  ASSERT_THAT(faults, SizeIs(4));
  const Fault expected[] = {{"clFinish", 2, 2, What::Error, -5},
                            {"*", 1, kNoEnd, What::Noise, {}},
                            {"glGetError", 3, kNoEnd, What::Error, 0x0502},
                            {"eglLoad", 1, 1, What::Sleep, 0}};
  for (size_t i = 0; i < faults.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(faults[i].function, expected[i].function);
    EXPECT_EQ(faults[i].first, expected[i].first);
    EXPECT_EQ(faults[i].last, expected[i].last);
    EXPECT_EQ(faults[i].action, expected[i].action);
    EXPECT_EQ(faults[i].argument, expected[i].argument);
  }
  EXPECT_THAT(ParseFaults(""), IsEmpty());
}

TEST(Faults, ThatCannotBeReadAreNamed) {
  for (const char* text :
       {"x", "x:1", ":1:crash", "x:0:crash", "x:-1:crash", "x:+:crash", "x::crash", "x:1:crush",
        "x:1:crash=1", "x:1:sleep", "x:1:sleep=", "x:1:sleep=1s", "x:1:error=--5", "x:1:error=-0x",
        "x:99999999999999999999:crash", "y:1:crash;x:1:"}) {
    try {
      ParseFaults(text);
      ADD_FAILURE() << text << " is read";
    } catch (const std::invalid_argument& error) {
      EXPECT_THAT(error.what(), HasSubstr(" in the fault \"")) << text;
    }
  }
}

TEST(Faults, PutTheirPartInPlace) {
  const auto names = [](const std::string& faults) {
    std::string all;
    const auto present = [](const auto& name) { return name == "OPENCL_LAYERS" ? "x" : ""; };
    for (const auto& [name, value] : EnvironmentOf(faults, "/kit", present))
      all += name + '=' + value + ' ';
    return all;
  };
  EXPECT_THAT(names("clFinish:1:hang"),
              MatchesRegex("GPUPROBE_FAULT=clFinish:1:hang OPENCL_LAYERS=/kit/fault\\..*.x "));
#ifndef _WIN32
  EXPECT_EQ(names("glEnd:1:hang"), "GPUPROBE_FAULT=glEnd:1:hang LD_LIBRARY_PATH=/kit/egl ");
  EXPECT_THAT(names("*:1:hang"), AllOf(HasSubstr("OPENCL_LAYERS"), HasSubstr("LD_LIBRARY_PATH")));
#endif
  for (const char* unknown : {"clFinish:1:hang;clFinnish:1:hang", "glut*:1:hang"})
    EXPECT_THROW(names(unknown), std::invalid_argument) << unknown;
}

}  // namespace
