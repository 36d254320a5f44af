#include "linux/GLDriverText.h"

#include <gtest/gtest.h>

TEST(GLDriverText, VersionOfEveryMakersText) {
  const struct {
    const char* glVersion;
    const char* driver;
  } cases[] = {
      {"4.5 (Compatibility Profile) Mesa 22.3.6", "Mesa 22.3.6"},
      {"4.6 (Core Profile) Mesa 23.1.0-devel (git-1a2b3c)", "Mesa 23.1.0-devel (git-1a2b3c)"},
      {"2.1 Mesa 20.3.5", "Mesa 20.3.5"},
      {"4.6.0 NVIDIA 535.54.03", "NVIDIA 535.54.03"},
      {"4.6.14761 Compatibility Profile Context 21.40.1", "21.40.1"},
      {"4.6.0 Compatibility Profile Context", ""},
      {"3.1.13399 Profile Context 15.20", "15.20"},
      {"4.4.0 - Build 20.19.15.4549", "- Build 20.19.15.4549"},
      {"2.1 APPLE-18.5.9", "APPLE-18.5.9"},
      {"4.6", ""},
      {"4.6   ", ""},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(DriverVersionFromGLVersion(c.glVersion), c.driver);
}

TEST(GLDriverText, KindOfDriver) {
  for (const char* software :
       {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer"})
    EXPECT_TRUE(IsSoftwareRenderer(software));
  for (const char* hardware : {"AMD Radeon Graphics (renoir, LLVM 15.0.6)", "", "virgl (llvmpipe)"})
    EXPECT_FALSE(IsSoftwareRenderer(hardware));
  EXPECT_TRUE(IsNVIDIADriver("NVIDIA Corporation"));
  EXPECT_FALSE(IsNVIDIADriver("Mesa"));
}
