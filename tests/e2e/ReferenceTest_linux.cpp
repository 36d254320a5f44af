#include <gmock/gmock.h>

#include <cstdlib>
#include <regex>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;
using std::string_literals::operator""s;

/// What plain EGL and GL calls answer. GPUPROBE_FLOOR names the program that makes them.
Lines referenceLines(const std::string& environment) {
  const Outcome run = RunProbe({{}, environment, Start().streams, "$GPUPROBE_FLOOR"});
  EXPECT_EQ(run.code, 0);
  return run.out;
}

// The operating system answers the other questions, or nobody.
const std::regex kDriversAnswer(
    R"(glgpu\[0\]\.(?!IsIntegratedGLGPU|GLMemoryMB|GLVendorID|GLRendererID|GLDriverDate).*)");

TEST(LinuxReference, EveryValueIsTheDrivers) {
  if (!std::getenv("GPUPROBE_FLOOR")) GTEST_SKIP() << "GPUPROBE_FLOOR is not set";
  const struct {
    const char* environment;
    unsigned failing;  // questions that end in a GL error
    const char* glsl;
  } drivers[] = {
      {"", 0, "1"},
      {"MESA_GL_VERSION_OVERRIDE=2.1", 0, "1"},
      {"MESA_GL_VERSION_OVERRIDE=3.3COMPAT", 0, "1"},
      {"MESA_GL_VERSION_OVERRIDE=1.4", 0, "0"},
      {"MESA_EXTENSION_OVERRIDE=-GL_ARB_texture_float", 0, "1"},
      {"GALLIUM_DRIVER=softpipe", 0, "1"},
      {"MESA_EXTENSION_OVERRIDE='-GL_ARB_fragment_program -GL_ARB_vertex_program'", 3, "1"}};
  const Lines plain = referenceLines("");
  for (const auto& [environment, failing, glsl] : drivers) {
    SCOPED_TRACE(environment);
    const Lines reference = referenceLines(environment);
    EXPECT_EQ(reference == plain, *environment == '\0');
    const Outcome run = RunProbe({{}, environment});
    EXPECT_EQ(run.code, failing ? 2 : 0);
    EXPECT_THAT(run.out, IsSupersetOf(reference));
    EXPECT_THAT(run.out, IsSupersetOf({"NumGLGPUs=1"s, "glgpu[0].GLFrameBufferOK=1"s,
                                       "glgpu[0].CanCompileProgramGLSL="s + glsl}));
    Lines answers;
    for (const std::string& line : run.out)
      if (std::regex_match(line, kDriversAnswer)) answers.push_back(line);
    EXPECT_EQ(answers.size(), 31 - failing);
    EXPECT_THAT(reference, IsSupersetOf(answers));
    Lines errors;
    for (unsigned i = 0; i < failing; ++i)
      errors.insert(errors.end(), {"Failed requirement: glStatus == GL_NO_ERROR",
                                   "exception: Failed requirement: glStatus == GL_NO_ERROR"});
    EXPECT_EQ(run.err, errors);
  }
}

}  // namespace
