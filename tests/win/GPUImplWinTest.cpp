#include "win/GPUImplWin.h"

#include <gtest/gtest.h>

#include "gpu/GPU.h"
#include "tests/support/FakeGL.h"
#include "tests/support/LogCapture.h"
#include "tests/win/FakeWindows.h"

namespace {

FakeController controller(const wchar_t* name, int32_t bytes = 0) {
  return {{L"Status", L"OK"},      {L"Name", name},           {L"AdapterRAM", bytes},
          {L"Caption", name},      {L"DriverVersion", L"31"}, {L"InstalledDisplayDrivers", L"dll"},
          {L"DriverDate", L"2024"}};
}

class GPUImplWinTest : public testing::Test {
 protected:
  /// The GPUs in order, one a line: name, identifiers and the driver's texts.
  std::string found() {
    std::ostringstream text;
    for (const auto& gpu : gpus = GPUImplWin().DoGetGPUs()) {
      const auto& made = dynamic_cast<const GLGPU&>(*gpu);
      text << made.Name() << '|' << std::hex << made.VendorID() << ':' << made.RendererID() << '|'
           << made.DriverVersion() << '|' << made.Driver() << '|' << made.DriverDate() << '|'
           << made.Caption() << '\n';
    }
    return text.str();
  }

  FakeWindows windows;
  FakeGL gl;
  LogCapture log;
  GPUList gpus;
};

TEST_F(GPUImplWinTest, JoinsByName) {
  gl.devices.clear();
  for (const char* name : {"Board X", "Board X", "Board W", "Board H", "Other"})
    gl.devices.push_back({"D", name, ""});
  windows.adapters = {{L"Board X", 0x10de, 1},
                      {L"Board W", 0x1002, 2},
                      {L"Board x", 0x8086, 3},
                      {L"Board X", 0x10de, 4}};
  windows.controllers = {controller(L"Board X"), controller(L"Board H"), controller(L"Basic")};
  EXPECT_EQ(found(),
            "|0:0|31|dll|2024|Board H\n"
            "Board W|1002:2|?|?|?|?\n"
            "Board X|10de:4|31|dll|2024|Board X\n");
  EXPECT_EQ(gl.contextsAlive, 3);
  // A service once, a factory once for each of the two lists.
  EXPECT_EQ(windows.calls["ConnectServer"] + windows.calls["CreateDXGIFactory"], 1 + 2);
  EXPECT_EQ(log.of(834) + log.of(883), "zorNumDevices=5\nzorNumContexts=4\n");
  EXPECT_EQ(log.of(909), "ZOR Device for DXGI Board x not found\n");
  EXPECT_EQ(log.of(934), "ZOR Device for WMI Basic not found\n");
}

TEST_F(GPUImplWinTest, FirstContextStandsInAndFailuresAreSaid) {
  gl.devices = {{"D1", "Z", ""}, {"D2", "Bad", ""}, {"D3", "B", ""}};
  gl.failingDevices["D2"] = "wglCreateContext failed";
  windows.controllers = {controller(L"Other")};
  testing::internal::CaptureStderr();
  EXPECT_EQ(found(), "|0:0|?|?|?|?\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), log.of(853));
  EXPECT_EQ(log.of(853), "ContextOffscreen exception caught and ignored.\n");
  EXPECT_EQ(log.of(846),
            "zorDevice[0]={ DeviceName=D1 DeviceString=Z DisplayID=}\n"
            "zorDevice[2]={ DeviceName=D3 DeviceString=B DisplayID=}\n");
  EXPECT_NE(log.of(970), "");

  gl.devices.clear();
  EXPECT_EQ(found(), "");

  struct Failing : FakeGL {
    std::vector<ZOR::OGL::DisplayDeviceKey> displayDevices() override { throw 1; }
  } failing;
  testing::internal::CaptureStderr();
  EXPECT_EQ(found(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), log.of(962));
  EXPECT_EQ(log.of(962), "DoGetGPUs fails with exception\n");
}

TEST_F(GPUImplWinTest, AnotherMakersOpenGLIsSaid) {
  std::string said;
  for (const uint32_t vendorID : {0x10deU, 0x1002U, 0x8086U, 0U})
    for (const char* vendor : {"NVIDIA Corporation", "ATI Technologies Inc.", "INTEL", "Mesa"}) {
      windows.adapters = {{L"Board X", vendorID}};
      gl.strings[GL_VENDOR] = vendor;
      found();
      log.take();
      EXPECT_EQ(gpus.at(0)->Vendor(), vendor);
      said += log.take().empty() ? '=' : '!';
    }
  EXPECT_EQ(said, "=!!=!=!=!!======");
}

TEST_F(GPUImplWinTest, MemoryIsTheLargestFigure) {
  constexpr int32_t kMiB = 1 << 20;
  const struct {
    uint32_t vendorID;
    int32_t wmiBytes;
    GLint glKiB;
    uint64_t dxgiMB;
    unsigned answer;
  } cases[] = {{0x1002, 0, 0, 0, 256},
               {0x1002, 512 * kMiB, 2097152, 1024, 2048},
               {0x1002, 512 * kMiB, 1024, 256, 512},
               {0x10de, 512 * kMiB, 1024, 8192, 8192},
               {0x10de, -kMiB, 1024, 32, 4095},
               {0x8086, 512 * kMiB, 2097152, 256, 512},
               {0x10de, 0, -1, 32, 0xFFFFFFFF}};
  windows.installedRAM = uint64_t{1} << 30;
  for (const auto& c : cases) {
    windows.adapters = {{L"Board X", c.vendorID, 1, c.dxgiMB << 20, 512 * kMiB}};
    windows.controllers = {controller(L"Board X", c.wmiBytes)};
    gl.integers = {{0x87FC, c.glKiB}, {0x9047, c.glKiB}};
    found();
    EXPECT_EQ(gpus.at(0)->MemoryMB(), c.answer);
  }
  EXPECT_EQ(log.of(769).find("wmiVRAM=0 dxgiVRAM=256\nwmiVRAM=2048 dxgiVRAM=1024\n"), 0u);
  // The last machine's maker is asked once more, and its driver refuses.
  gl.pendingError = GL_INVALID_ENUM;
  EXPECT_EQ(gpus.at(0)->MemoryMB(), 32u);
  EXPECT_EQ(log.of(760),
            "GPUImplWin::DoGetGLMemoryMB: vendorID=kVendorNVIDIA, GLGetIntegerv failure\n");
}

}  // namespace
