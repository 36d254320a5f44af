#include <gtest/gtest.h>

#include "gpureport/ExitCode.h"
#include "gpureport/Requirement.h"
#include "tests/gpureport/Samples.h"

namespace gpureport {
namespace {

using host::Reason;
using host::Value;
using protocol::GPUKind;

int evaluated(const std::string& text, const host::Inspection& machine) {
  std::string error;
  const auto terms = ParseRequirement(text, error);
  return terms ? Evaluate(*terms, machine) : kUsage;
}

/// An old discrete card with much memory and a new integrated one with little.
host::Inspection twoCards() {
  host::Inspection machine;
  machine.status = host::Status::Complete;
  machine.openGL.status = host::ApiStatus::Ok;
  machine.openGL.gpus = {test::makeGpu(GPUKind::OpenGL, 0,
                                       {{"GLVersion", Value("2.1")},
                                        {"GLMemoryMB", Value(std::int64_t{8192})},
                                        {"IsIntegratedGLGPU", Value(false)}}),
                         test::makeGpu(GPUKind::OpenGL, 1,
                                       {{"GLVersion", Value("4.1")},
                                        {"glGetString[GL_SHADING_LANGUAGE_VERSION]", Value("4.50")},
                                        {"GLMemoryMB", Value(std::int64_t{512})},
                                        {"IsIntegratedGLGPU", Value(true)},
                                        {"GLFrameBufferOK", Value(false)}})};
  return machine;
}

TEST(Require, IsMetByOneGpu) {
  const struct {
    const char* text;
    int code;
  } rows[] = {
      {"opengl>=2.1", 0},
      {"opengl>=4.1", 0},
      {"opengl>=4.5", 0},  // beyond the probe's scale GLSL decides
      {"opengl>=4.6", 9},
      {"opengl>=5", 9},
      {"opengl >= 3, memory >= 0.5GiB", 0},
      {"opengl>=3.3,memory>=2GiB", 9},  // no card has both
      {"opengl>=3.3,discrete", 9},
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
      {"vulkan>=1.3", kUsage},
  };
  for (const auto& row : rows) EXPECT_EQ(evaluated(row.text, twoCards()), row.code) << row.text;
}

TEST(Require, SaysWhatItCannotTell) {
  host::Inspection machine = test::crashedMachine();
  EXPECT_EQ(evaluated("opengl>=3.3,memory>=2GiB,discrete,glsl,framebuffer", machine), kComplete);
  EXPECT_EQ(evaluated("opencl>=1.2,memory>=2GiB", machine), kComplete);
  machine.openCL.gpus[0] = test::makeGpu(GPUKind::OpenCL, 0, {{"CLDeviceVersion", Reason::Hung}});
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kHung);
  // A platform whose list was lost may have had the GPU that is wanted.
  machine.incidents[0].gpu.reset();
  machine.incidents[0].question = "NumCLGPUs Fine";
  machine.openCL.gpus.clear();
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kCrashed);
  EXPECT_EQ(evaluated("opengl>=4.7", machine), kNotMet);
  machine.status = host::Status::FailedToStart;
  machine.openGL.gpus.clear();
  EXPECT_EQ(evaluated("discrete", machine), kNotStarted);
}

}  // namespace
}  // namespace gpureport
