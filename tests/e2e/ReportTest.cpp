#include <gmock/gmock.h>

#include <ctime>
#include <regex>
#include <sstream>

#include "tests/e2e/Probe.h"

namespace {

/// Each line of the report of a machine with one GPU, as a regular expression.
Lines expectedLines() {
  Lines lines = {R"(Tester="LarkspanApp")", "snifferStart=.*",     "ZORCoreInitialized=1",
                 "ZOROGLInitialized=1",     "OGLContextCreated=1", "NumGLGPUs=1"};
  for (const char* answer :
       {"GLVersion=\"(1\\.[2-5]|2\\.[01]|3\\.[0-3]|4\\.[01])\"", "IsIntegratedGLGPU=[01]",
        "GLMemoryMB=\\d+", "GLName=\".*\"", "GLVendor=\".+\"", "GLVendorID=\\d+",
        "GLDriverVersion=\".+\"", "GLRectTextureSize=[1-9]\\d*", "GLRenderer=\".+\"",
        "GLRendererID=\\d+", "HasGLNPOTSupport=[01]", "GLDriver=\".*\"", "GLDriverDate=\".*\"",
        "CanCompileProgramGLSL=1", "GLFrameBufferOK=1"})
    lines.push_back(std::string("glgpu\\[0\\]\\.") + answer);
  const auto named = [&](const std::string& name, const std::string& number,
                         const std::string& answer) {
    lines.push_back("gputag\\." + name + "=" + number);
    lines.push_back("glgpu\\[0\\]\\." + answer);
  };
  named("GL_SHADING_LANGUAGE_VERSION", "35724",
        R"(glGetString\[GL_SHADING_LANGUAGE_VERSION\]="\d\.\d+.*")");
  lines.emplace_back("gputag\\.GL_FRAGMENT_PROGRAM_ARB=34820");
  const std::string instructions = "GL_MAX_PROGRAM_INSTRUCTIONS_ARB";
  named(instructions, "34977",
        "glGetProgramivARB\\[GL_FRAGMENT_PROGRAM_ARB\\]\\[" + instructions + R"(\]=\[\d+\])");
  std::istringstream integers(
      "TEXTURE_UNITS 34018 COMBINED_TEXTURE_IMAGE_UNITS 35661 VERTEX_TEXTURE_IMAGE_UNITS 35660 "
      "TEXTURE_IMAGE_UNITS 34930 DRAW_BUFFERS 34852 VERTEX_UNIFORM_COMPONENTS 35658 "
      "FRAGMENT_UNIFORM_COMPONENTS 35657 VARYING_FLOATS 35659 VERTEX_ATTRIBS 34921");
  for (std::string name, number; integers >> name >> number;)
    named("GL_MAX_" + name, number, "glGetIntegerv\\[GL_MAX_" + name + R"(\]=\[\d+\])");
  std::istringstream extensions(
      "ARB_VERTEX_PROGRAM 69 ARB_FRAGMENT_PROGRAM 27 ARB_VERTEX_SHADER 70 ARB_FRAGMENT_SHADER 28 "
      "EXT_FRAMEBUFFER_OBJECT 81 ARB_TEXTURE_RECTANGLE 58 ARB_TEXTURE_FLOAT 53 "
      "ARB_OCCLUSION_QUERY 37 ARB_VERTEX_BUFFER_OBJECT 68 ARB_SHADER_TEXTURE_LOD 47");
  for (std::string name, number; extensions >> name >> number;)
    named("ZOR::OGL::GL_" + name, number, "extension\\[ZOR::OGL::GL_" + name + "\\]=[01]");
  lines.insert(lines.end(), {"NumCLGPUs=0", "NumNativeGPUs=0", "snifferEnd=.*"});
  return lines;
}

std::string localTime() {
  const std::time_t now = std::time(nullptr);
  char text[32];
  std::strftime(text, sizeof text, "\"%Y-%m-%d_%H:%M:%S\"", std::localtime(&now));
  return text;
}

TEST(Report, HasEveryLineInOrder) {
  // Most machines that run tests are set to UTC, which would hide a wrong zone.
  setenv("TZ", "IST-5:30", 1);
  const std::string before = localTime();
  const Outcome run = RunProbe({});
  const std::string after = localTime();
  unsetenv("TZ");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.err, Lines());
  const Lines expected = expectedLines();
  ASSERT_EQ(run.out.size(), expected.size()) << run.text;
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_TRUE(std::regex_match(run.out[i], std::regex(expected[i]))) << run.out[i];

  std::smatch time;
  ASSERT_TRUE(std::regex_search(
      run.text, time, std::regex("snifferStart=(\".{19}\")[^]*snifferEnd=(\".{19}\")\r?\n$")));
  // The format sorts by time.
  EXPECT_LE(before, time[1]);
  EXPECT_LE(time[1], time[2]);
  EXPECT_LE(time[2], after);
}

TEST(Report, DiagnosticsStandBetweenTheLines) {
  const Outcome run = RunProbe({{"-verbose=3=4", "-throwAfter=7"}});
  EXPECT_EQ(run.code, 2);
  EXPECT_EQ(run.err, Lines{"exception: Programmed throw"});
  EXPECT_EQ(run.report, PlainReport());
  EXPECT_THAT(run.comments,
              testing::Contains(testing::HasSubstr("] Testing terminated for glgpu[0]")));
  const std::regex layout(
      R"(# (\d{5})_\d{4}/\d\d/\d\d_\d\d:\d\d:\d\d\.\d{3}\((\+\d\d\.\d{3})\)\[[0-9a-f]+\] \S.*)");
  for (size_t i = 0; i < run.comments.size(); ++i) {
    std::smatch parts;
    ASSERT_TRUE(std::regex_match(run.comments[i], parts, layout)) << run.comments[i];
    EXPECT_EQ(std::stoul(parts[1]), i);
    EXPECT_TRUE(i > 0 || parts[2] == "+00.000");
  }
}

}  // namespace
