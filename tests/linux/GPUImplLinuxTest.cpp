#include "linux/GPUImplLinux.h"

#include <gmock/gmock.h>

#include "gpu/GPU.h"
#include "tests/support/FakeGL.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

using testing::HasSubstr;
using Devices = std::vector<ZOR::OGL::DisplayDeviceKey>;

/// The two figures of each GPU that tell them apart.
std::string describe(const GPUList& gpus) {
  std::string text;
  for (const auto& gpu : gpus)
    text +=
        gpu->Name() + " " + std::to_string(gpu->MemoryMB()) + (gpu->IsIntegrated() ? "i " : " ");
  return text;
}

TEST(GPUImplLinux, SoftwareStandsInOnlyWithoutHardware) {
  const struct {
    Devices devices;
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
    const GPUList gpus = GPUImplLinux("/nowhere").DoGetGPUs();
    EXPECT_EQ(gpus.size(), c.gpus);
    // Contexts that no GPU took are gone.
    EXPECT_EQ(static_cast<size_t>(gl.contextsAlive), c.gpus);
  }
}

TEST(GPUImplLinux, SoftwareRendererHasNoIdentity) {
  const SysfsTree tree(SysfsTree::Recorded("nvidia"));
  FakeGL gl;
  gl.devices = {{"/dev/dri/card0", "", "0"}, {"software", "", "1"}};
  gl.version = "3.3 (Compatibility Profile) Mesa 22.3.6";
  gl.strings = {{GL_RENDERER, "llvmpipe (LLVM 15)"}, {GL_VENDOR, "NVIDIA Corporation"}};
  gl.integers[0x9047] = 1 << 20;
  LogCapture log;
  // The card's own device draws in software as well.
  const GPUList gpus = GPUImplLinux(tree.root()).DoGetGPUs();
  ASSERT_EQ(gpus.size(), 1U);
  const auto gpu = boost::dynamic_pointer_cast<GLGPU>(gpus[0]);
  ASSERT_TRUE(gpu);
  EXPECT_EQ(describe(gpus), "llvmpipe (LLVM 15) 0 ");
  EXPECT_EQ(gpu->Version(), "3.3");
  EXPECT_EQ(gpu->DriverVersion(), "Mesa 22.3.6");
  EXPECT_EQ(gpu->Driver(), "fake");
  EXPECT_EQ(gpu->VendorID() + gpu->RendererID(), 0U);
  const std::string said = tree.withoutRoot(log.take());
  EXPECT_THAT(said, HasSubstr("adapter[0]{ Address=0000:01:00.0 "));
  EXPECT_THAT(said, HasSubstr("/dev/dri/card0: its context draws in software"));
  EXPECT_THAT(said, HasSubstr("not used: adapter 0000:01:00.0: /dev/dri/renderD128: No such file "
                              "or directory, its context draws in software"));
}

TEST(GPUImplLinux, AnswersOfTheAdapter) {
  const SysfsTree tree(SysfsTree::Recorded("nvidia"));
  FakeGL gl;
  gl.strings[GL_RENDERER] = "NVIDIA GeForce RTX 3070/PCIe/SSE2";
  gl.integers[0x9047] = 8 << 20;
  gl.extensions = {"GL_NVX_gpu_memory_info"};
  gl.version = "4.6.0";
  const GPUList gpus = GPUImplLinux(tree.root()).DoGetGPUs();
  ASSERT_EQ(gpus.size(), 1U);
  const auto gpu = boost::dynamic_pointer_cast<GLGPU>(gpus[0]);
  EXPECT_EQ(gpu->Name(), gpu->Renderer());  // no pci.ids there
  EXPECT_EQ(gpu->VendorID(), 0x10DEU);
  EXPECT_EQ(gpu->RendererID(), 0x2484U);
  EXPECT_EQ(gpu->MemoryMB(), 8192U);
  EXPECT_EQ(gpu->Driver(), "nvidia");
  EXPECT_EQ(gpu->DriverVersion(), "535.54.03");  // GL_VERSION has none
  EXPECT_EQ(gpu->DriverDate(), "Tue Jun  6 22:20:39 UTC 2023");
  EXPECT_FALSE(gpu->IsIntegrated());
  gl.version = "4.6.0 NVIDIA 535.54.03";
  EXPECT_EQ(gpu->DriverVersion(), "NVIDIA 535.54.03");
}

TEST(GPUImplLinux, LargerOfTheTwoFigures) {
  const Devices one = {{"/dev/dri/card0", "", "0"}};
  const Devices two = {{"/dev/dri/card0", "", "0"}, {"/dev/dri/card1", "", "1"}};
  const struct {
    const char* machine;
    Devices devices;
    std::map<GLenum, GLint> figures;
    const char* gpus;
  } cases[] = {
      {"intel-integrated", one, {{0x9047, 4 << 20}}, "GL 4096i "},
      {"amd-integrated", one, {{0x87FC, 1 << 19}}, "GL 1856i "},
      {"amd-integrated", one, {{0x87FC, 2 << 20}}, "GL 2048i "},
      {"amd-legacy", one, {{0x87FC, 1 << 20}}, "GL 1024 "},
      {"amd-legacy", one, {{0x87FC, -1}}, "GL 0 "},
      // What is free of the card's memory, and all of it.
      {"amd-legacy", one, {{0x87FC, 1 << 20}, {0x9047, 2 << 20}}, "GL 2048 "},
      {"nvidia-no-drm",
       {{"", "", "0"}},
       {{0x9047, 15 << 20}},
       "NVIDIA Corporation TU104GL [Tesla T4] 15360 "},
      {"intel-nvidia-hybrid",
       two,
       {},
       "Intel Corporation CoffeeLake-H GT2 [UHD Graphics 630] 2048i "
       "NVIDIA Corporation TU106M [GeForce RTX 2060 Mobile] 0 "},
  };
  for (const auto& c : cases) {
    const SysfsTree tree(SysfsTree::Recorded(c.machine));
    FakeGL gl;
    gl.devices = c.devices;
    gl.integers = c.figures;
    for (const auto& [name, kibibytes] : c.figures)
      gl.extensions.push_back(name == 0x9047 ? "GL_NVX_gpu_memory_info" : "GL_ATI_meminfo");
    gl.strings = {{GL_RENDERER, "GL"}, {GL_VENDOR, "NVIDIA Corporation"}};
    EXPECT_EQ(describe(GPUImplLinux(tree.root()).DoGetGPUs()), c.gpus) << c.machine;
  }
}

}  // namespace
