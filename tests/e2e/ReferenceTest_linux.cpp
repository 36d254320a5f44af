#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

/// What plain EGL and GL calls answer. GPUPROBE_FLOOR names the program that makes them.
Lines referenceLines(const std::string& environment) {
  const Outcome run = RunProbe({{}, environment, Start().streams, "$GPUPROBE_FLOOR"});
  EXPECT_EQ(run.code, 0);
  return run.out;
}

struct Driver {
  const char* name;
  const char* environment;
  unsigned failing;  // questions that end in a GL error
  int glsl;
};

class Reference : public TestWithParam<Driver> {};

TEST_P(Reference, EveryValueIsTheDrivers) {
  if (!std::getenv("GPUPROBE_FLOOR")) GTEST_SKIP() << "GPUPROBE_FLOOR is not set";
  const auto& [name, environment, failing, glsl] = GetParam();
  const Lines plain = referenceLines(""), reference = referenceLines(environment);
  const bool asIs = *environment == '\0';
  if (!asIs && !Matches(Contains(HasSubstr("Mesa")))(plain)) GTEST_SKIP() << "needs Mesa";
  EXPECT_EQ(reference == plain, asIs);

  const Outcome run = RunProbe({{}, environment});
  EXPECT_EQ(run.code, failing ? 2 : 0);
  for (const std::string& line : reference) EXPECT_THAT(run.out, Contains(line));
  for (const std::string& line :
       {std::string("NumGLGPUs=1"), std::string("glgpu[0].GLFrameBufferOK=1"),
        "glgpu[0].CanCompileProgramGLSL=" + std::to_string(glsl)})
    EXPECT_THAT(run.out, Contains(line));
  // The operating system answers the other questions, or nobody.
  const std::regex answer(
      R"(glgpu\[0\]\.(?!IsIntegratedGLGPU|GLMemoryMB|GLVendorID|GLRendererID|GLDriverDate).*)");
  unsigned answers = 0;
  for (const std::string& line : run.out) {
    if (!std::regex_match(line, answer)) continue;
    ++answers;
    EXPECT_THAT(reference, Contains(line));
  }
  EXPECT_EQ(answers, 31 - failing);
  Lines errors;
  for (unsigned i = 0; i < failing; ++i)
    errors.insert(errors.end(), {"Failed requirement: glStatus == GL_NO_ERROR",
                                 "exception: Failed requirement: glStatus == GL_NO_ERROR"});
  EXPECT_EQ(run.err, errors);
}

INSTANTIATE_TEST_SUITE_P(
    Linux, Reference,
    Values(Driver{"AsIs", "", 0, 1}, Driver{"Version21", "MESA_GL_VERSION_OVERRIDE=2.1", 0, 1},
           Driver{"Version33", "MESA_GL_VERSION_OVERRIDE=3.3COMPAT", 0, 1},
           Driver{"NoGLSL", "MESA_GL_VERSION_OVERRIDE=1.4", 0, 0},
           Driver{"NoFloat", "MESA_EXTENSION_OVERRIDE=-GL_ARB_texture_float", 0, 1},
           Driver{"Softpipe", "GALLIUM_DRIVER=softpipe", 0, 1},
           Driver{"NoPrograms",
                  "MESA_EXTENSION_OVERRIDE='-GL_ARB_fragment_program -GL_ARB_vertex_program'", 3,
                  1}),
    nameOf);

}  // namespace
