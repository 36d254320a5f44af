#include "GPUImplLinux.h"

#include <gtest/gtest.h>

#include "FakeGL.h"
#include "GPU.h"

TEST(GPUImplLinux, SoftwareStandsInOnlyWithoutHardware) {
  const struct {
    std::vector<ZOR::OGL::DisplayDeviceKey> devices;
    std::map<std::string, std::string> failing;
    size_t gpus;
  } cases[] = {
      {{}, {}, 0},
      {{{"software", "", "0"}}, {}, 1},
      {{{"/dev/dri/card0", "", "0"}, {"software", "", "1"}}, {}, 1},
      {{{"/dev/dri/card0", "", "0"}, {"/dev/dri/card1", "", "1"}, {"software", "", "2"}}, {}, 2},
      {{{"/dev/dri/card0", "", "0"}, {"software", "", "1"}}, {{"/dev/dri/card0", "denied"}}, 1},
      {{{"software", "", "0"}}, {{"software", "eglInitialize: EGL_BAD_ALLOC"}}, 0},
  };
  for (const auto& c : cases) {
    FakeGL gl;
    gl.devices = c.devices;
    gl.failingDevices = c.failing;
    const GPUList gpus = GPUImplLinux().DoGetGPUs();
    EXPECT_EQ(gpus.size(), c.gpus);
    // Contexts that no GPU took are gone.
    EXPECT_EQ(static_cast<size_t>(gl.contextsAlive), c.gpus);
  }
}

TEST(GPUImplLinux, AnswersOfOneGPU) {
  FakeGL gl;
  gl.version = "3.3 (Compatibility Profile) Mesa 22.3.6";
  gl.strings[GL_RENDERER] = "llvmpipe";
  const GPUList gpus = GPUImplLinux().DoGetGPUs();
  ASSERT_EQ(gpus.size(), 1U);
  const auto gpu = boost::dynamic_pointer_cast<GLGPU>(gpus[0]);
  ASSERT_TRUE(gpu);
  EXPECT_EQ(gpu->Name(), "llvmpipe");
  EXPECT_EQ(gpu->Version(), "3.3");
  EXPECT_EQ(gpu->DriverVersion(), "Mesa 22.3.6");
  EXPECT_EQ(gpu->Driver(), "fake");
  EXPECT_EQ(gpu->VendorID(), 0U);
  EXPECT_EQ(gpu->RendererID(), 0U);
  EXPECT_EQ(gpu->MemoryMB(), 0U);
  EXPECT_FALSE(gpu->IsIntegrated());
}
