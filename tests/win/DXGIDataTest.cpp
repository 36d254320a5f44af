#include "win/DXGIData.h"

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/win/FakeWindows.h"
#include "win/DescFormat.h"

namespace {

std::string names(const std::vector<DXGIData>& records) {
  std::string text;
  for (const DXGIData& record : records) text += record.GetName() + ", ";
  return text;
}

TEST(DXGIData, KeepsAdaptersWithAnAttachedOutput) {
  FakeWindows windows;
  LogCapture log;
  windows.adapters = {{L"One \"1\"", 0x10de, 7, 1, 2, "10"},
                      {L"Software", 0x1414, 0x8c, 0, 0, ""},
                      {L"Unplugged", 0x1002, 1, 0, 0, "0?"},
                      {L"Two", 0x8086, 2, 0, 0, "?11"}};
  EXPECT_EQ(names(DXGIData::GetAllDevices()), "One \\\"1\\\", Two, ");
  EXPECT_EQ(windows.leftOpen(), "");
  EXPECT_EQ(windows.calls["CreateDXGIFactory"], 1);
  EXPECT_EQ(log.of(595), "adapter[0] displays: 1\nadapter[3] displays: 2\n");
  const std::string lines = log.take();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 4 + 5 + 2);
  EXPECT_EQ(lines.find("574 adapter[0]{ VendorID=4318 DeviceId=7 SubSysId=0 Revision=0"
                       " DedicatedVideoMemory=1 DedicatedSystemMemory=0 SharedSystemMemory=2"
                       " Description=One \\\"1\\\"}\n"
                       "587 output[0]{ DesktopCoordinates={ L=-1920 T=0 R=0 B=1080 W=1920 H=1080 }"
                       " AttachedToDesktop=1 Rotation=0 Monitor=0 DeviceName="
                       "\\\\\\\\.\\\\DISPLAY1\n587 output[1]{"),
            0u);
}

TEST(DXGIData, FailingCallKeepsAdaptersAndLeavesTheRestOpen) {
  const struct {
    const char* call;
    int use;
    std::string failure;
    const char* records;
    const char* leftOpen;
  } cases[] = {{"CreateDXGIFactory", 1, "CreateGXGIFactory failed", "", ""},
               {"adapter GetDesc", 2, "pAdapter->GetDesc failed", "A, ", "adapter factory "}};
  for (const auto& c : cases) {
    FakeWindows windows;
    LogCapture log;
    windows.adapters = {{L"A"}, {L"B"}};
    windows.failingCall = c.call;
    windows.failingFrom = c.use;
    EXPECT_EQ(names(DXGIData::GetAllDevices()), c.records);
    EXPECT_EQ(windows.leftOpen(), c.leftOpen);
    EXPECT_EQ(windows.failures, c.failure);
    EXPECT_EQ(log.of(603), "DXGIData::GetAllDevices() exception: " + c.failure + "\n");
  }
}

TEST(DXGIData, MemoryNeedsTheInstalledSize) {
  FakeWindows windows;
  windows.installedRAM = uint64_t{1} << 30;
  DXGI_ADAPTER_DESC desc = {};
  desc.VendorId = 0x1002;
  desc.SharedSystemMemory = 512 << 20;
  EXPECT_EQ(DXGIData(desc).GetVideoMemory(), 256u);
  windows.failingCall = "GlobalMemoryStatusEx";
  EXPECT_THROW(DXGIData(desc).GetVideoMemory(), std::runtime_error);
}

TEST(DescFormat, DisplayDeviceIsEscaped) {
  std::ostringstream stream;
  FormatDisplayDevice(stream, {"\\\\.\\D", "Board\t\xe9", "\"id\""});
  EXPECT_EQ(stream.str(),
            "{ DeviceName=\\\\\\\\.\\\\D DeviceString=Board\\t\\x00e9 DisplayID=\\\"id\\\"}");
}

}  // namespace
