#include "linux/GPUImplLinux.h"

#include <gmock/gmock.h>

#include "gpu/GPU.h"
#include "tests/support/FakeGL.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

using testing::HasSubstr;

/// Devices of these names, with a blank between; "-" has none.
void setDevices(FakeGL& gl, const char* names) {
  gl.devices.clear();
  std::istringstream words(names);
  for (std::string name; words >> name;) gl.devices.push_back({name == "-" ? "" : name, "", ""});
}

/// The two figures of each GPU that tell them apart.
std::string describe(const GPUList& gpus) {
  std::ostringstream text;
  for (const auto& gpu : gpus)
    text << gpu->Name() << ' ' << gpu->MemoryMB() << (gpu->IsIntegrated() ? "i " : " ");
  return text.str();
}

/// What only the adapter and the driver's version text know of the first one.
std::string identity(const GPUList& gpus) {
  const auto& gpu = dynamic_cast<const GLGPU&>(*gpus.at(0));
  std::ostringstream text;
  text << std::hex << gpu.VendorID() << ':' << gpu.RendererID() << ' ' << gpu.Driver() << '|'
       << gpu.DriverVersion() << '|' << gpu.DriverDate();
  return text.str();
}

TEST(GPUImplLinux, SoftwareRendererHasNoIdentity) {
  const SysfsTree tree(SysfsTree::Recorded("nvidia"));
  FakeGL gl;
  setDevices(gl, "/dev/dri/card0 software");
  gl.version = "3.3 (Compatibility Profile) Mesa 22.3.6";
  gl.strings = {{GL_RENDERER, "llvmpipe (LLVM 15)"}, {GL_VENDOR, "NVIDIA Corporation"}};
  gl.integers[0x9047] = 1 << 20;
  gl.extensions = {"GL_NVX_gpu_memory_info"};
  LogCapture log;
  // The card's own device draws in software as well.
  const GPUList gpus = GPUImplLinux(tree.root()).DoGetGPUs();
  EXPECT_EQ(describe(gpus), "llvmpipe (LLVM 15) 0 ");
  EXPECT_EQ(gl.contextsAlive, 1) << "the other one is of no GPU";
  EXPECT_EQ(identity(gpus), "0:0 fake|Mesa 22.3.6|");
  EXPECT_EQ(gpus[0]->Version(), "3.3");
  const std::string said = tree.withoutRoot(log.take());
  EXPECT_THAT(said, HasSubstr("adapter[0]{ Address=0000:01:00.0 "));
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
  // There is no pci.ids, and GL_VERSION has no driver's version at first.
  EXPECT_EQ(describe(gpus), "NVIDIA GeForce RTX 3070/PCIe/SSE2 8192 ");
  EXPECT_EQ(identity(gpus), "10de:2484 nvidia|535.54.03|Tue Jun  6 22:20:39 UTC 2023");
  gl.version = "4.6.0 NVIDIA 535.54.03";
  EXPECT_THAT(identity(gpus), HasSubstr("|NVIDIA 535.54.03|"));
}

// Adapters are read when the contexts have woken them.
TEST(GPUImplLinux, AsleepUntilTheContextIsThere) {
  const SysfsTree tree(SysfsTree::Recorded("asleep"));
  FakeGL gl;
  gl.onContext = [&] {
    tree.write("sys/devices/pci0000:00/0000:00:01.1/0000:01:00.0/power/runtime_status", "active");
  };
  LogCapture log;
  GPUImplLinux(tree.root()).DoGetGPUs();
  EXPECT_THAT(log.take(), HasSubstr("0000:01:00.0 Bus=PCI Nodes=card1,renderD129 Boot=0 Asleep=0"));
}

TEST(GPUImplLinux, LargerOfTheTwoFigures) {
  const char* const one = "/dev/dri/card0";
  const struct {
    const char* machine;
    const char* devices;
    std::map<GLenum, GLint> figures;
    const char* gpus;
  } cases[] = {
      {"intel-integrated", one, {{0x9047, 4 << 20}}, "GL 4096i "},
      {"amd-integrated", one, {{0x87FC, 2 << 20}}, "GL 2048i "},
      {"amd-legacy", one, {{0x87FC, 1 << 20}}, "GL 1024 "},
      {"amd-legacy", one, {{0x87FC, -1}}, "GL 0 "},
      // What is free of the card's memory, and all of it.
      {"amd-legacy", one, {{0x87FC, 1 << 20}, {0x9047, 2 << 20}}, "GL 2048 "},
      {"nvidia-no-drm", "-", {{0x9047, 15 << 20}}, "NVIDIA Corporation TU104GL [Tesla T4] 15360 "},
      {"intel-nvidia-hybrid",
       "/dev/dri/card0 /dev/dri/card1",
       {},
       "Intel Corporation CoffeeLake-H GT2 [UHD Graphics 630] 2048i "
       "NVIDIA Corporation TU106M [GeForce RTX 2060 Mobile] 0 "}};
  for (const auto& c : cases) {
    const SysfsTree tree(SysfsTree::Recorded(c.machine));
    FakeGL gl;
    setDevices(gl, c.devices);
    gl.integers = c.figures;
    for (const auto& [name, kibibytes] : c.figures)
      gl.extensions.push_back(name == 0x9047 ? "GL_NVX_gpu_memory_info" : "GL_ATI_meminfo");
    gl.strings = {{GL_RENDERER, "GL"}, {GL_VENDOR, "NVIDIA Corporation"}};
    EXPECT_EQ(describe(GPUImplLinux(tree.root()).DoGetGPUs()), c.gpus) << c.machine;
  }
}

TEST(GLDriverText, VersionsAndKindsOfEveryMaker) {
  const std::pair<const char*, const char*> cases[] = {
      {"4.5 (Compatibility Profile) Mesa 22.3.6", "Mesa 22.3.6"},
      {"4.6.14761 Compatibility Profile Context 21.40.1", "21.40.1"},
      {"4.6.0 Compatibility Profile Context", ""},
      {"4.4.0 - Build 20.19.15.4549", "- Build 20.19.15.4549"},
      {"4.6   ", ""},
      {"", ""}};
  for (const auto& [text, driver] : cases) EXPECT_EQ(DriverVersionFromGLVersion(text), driver);
  for (const char* name : {"llvmpipe (LLVM 15.0.6, 256 bits)", "softpipe", "Software Rasterizer"})
    EXPECT_TRUE(IsSoftwareRenderer(name));
  for (const char* name : {"AMD Radeon Graphics (renoir, LLVM 15.0.6)", "", "virgl (llvmpipe)"})
    EXPECT_FALSE(IsSoftwareRenderer(name));
}

}  // namespace
