#include <gtest/gtest.h>

#include "gpureport/ExitCode.h"
#include "gpureport/Requirement.h"
#include "host/Inspect.h"
#include "tests/gpureport/Samples.h"

namespace gpureport {
namespace {

int evaluated(const std::string& text, const host::Inspection& machine) {
  std::string error;
  const auto terms = ParseRequirement(text, error);
  return terms ? Evaluate(*terms, machine) : kUsage;
}

/// An old discrete card with much memory and a new integrated one with little.
constexpr const char* kTwoCards = R"(NumGLGPUs=2
glgpu[0].GLVersion="2.1"
glgpu[0].GLMemoryMB=8192
glgpu[0].IsIntegratedGLGPU=0
glgpu[1].GLVersion="4.1"
glgpu[1].glGetString[GL_SHADING_LANGUAGE_VERSION]="4.50"
glgpu[1].GLMemoryMB=512
glgpu[1].IsIntegratedGLGPU=1
glgpu[1].GLFrameBufferOK=0
NumCLGPUs=0
snifferEnd="now"
)";

TEST(Require, IsMetByOneGpu) {
  const struct {
    const char* text;
    int code;
  } rows[] = {
      {"opengl>=4.1", 0},
      {"opengl>=4.5", 0},  // beyond the probe's scale GLSL decides
      {"opengl>=4.6", 9},
      {"opengl >= 3, memory >= 0.5GiB", 0},
      {"opengl>=3.3,memory>=2GiB", 9},  // no card has both
      {"memory>=8GiB,discrete", 0},
      {"memory>=8589934593", 9},
      {"memory>=1TiB", 9},
      {"framebuffer", 3},  // the new card can't, the old one doesn't say
      {"opengl>=3.3,framebuffer", 9},
      {"glsl", 3},
      {"opencl>=1.0", 9},
      {"opengl>=2.1,opencl>=1.2", 9},
      {"", kUsage},
      {"opengl", kUsage},
      {"opengl>3", kUsage},
      {"opengl>=3.3,", 0},
      {"opengl>=3.3,,discrete", kUsage},
      {"memory>=2 apples", kUsage},
      {"memory>=99999999999999TiB", kUsage},
  };
  const host::Inspection twoCards = host::FromReport(kTwoCards);
  for (const auto& row : rows) EXPECT_EQ(evaluated(row.text, twoCards), row.code) << row.text;
}

TEST(Require, SaysWhatItCannotTell) {
  host::Inspection machine = test::crashedMachine();
  EXPECT_EQ(evaluated("opengl>=3.3,memory>=2GiB,discrete,glsl,framebuffer", machine), kComplete);
  EXPECT_EQ(evaluated("opencl>=1.2,memory>=2GiB", machine), kComplete);
  for (host::Answer& answer : machine.openCL.gpus[0].answers) answer = host::Reason::Hung;
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kHung);
  machine.incidents.resize(1);
  // A platform whose list was lost may have had the GPU that is wanted.
  machine.incidents[0].gpu.reset();
  machine.incidents[0].question = "NumCLGPUs Fine";
  machine.openCL.gpus.clear();
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kCrashed);
  EXPECT_EQ(evaluated("opengl>=4.7", machine), kNotMet);
  machine = host::FromReport("NumGLGPUs=0\n");
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kUnanswered);
  machine.status = host::Status::FailedToStart;
  machine.openGL.gpus.clear();
  EXPECT_EQ(evaluated("discrete", machine), kNotStarted);
}

}  // namespace
}  // namespace gpureport
