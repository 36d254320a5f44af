#include <gtest/gtest.h>
#include <windows.h>

#include <wbemcli.h>

#include "tests/support/LogCapture.h"
#include "tests/win/FakeWindows.h"
#include "win/DXGIData.h"
#include "win/DescFormat.h"
#include "win/WMIData.h"

namespace {

/// Names and identifiers: "A 1002:67df, ".
template <class Record>
std::string found() {
  std::ostringstream text;
  for (const Record& record : Record::GetAllDevices())
    text << record.GetName() << ' ' << std::hex << record.GetVendorID() << ':'
         << record.GetDeviceID() << ", ";
  return text.str();
}

TEST(DXGIData, KeepsAdaptersWithAnAttachedOutput) {
  FakeWindows windows;
  LogCapture log;
  windows.adapters = {{L"One \"1\"", 0x10de, 7, 1, 2, "10"},
                      {L"Software", 0x1414, 0x8c, 0, 0, ""},
                      {L"Unplugged", 0x1002, 1, 0, 0, "0?"},
                      {L"Two", 0x8086, 2, 0, 0, "?11"}};
  EXPECT_EQ(found<DXGIData>(), "One \\\"1\\\" 10de:7, Two 8086:2, ");
  EXPECT_EQ(windows.leftOpen(), "");
  EXPECT_EQ(windows.calls["CreateDXGIFactory"], 1);
  EXPECT_EQ(log.of(595), "adapter[0] displays: 1\nadapter[3] displays: 2\n");
  EXPECT_EQ(log.of(574).substr(0, log.of(574).find('\n')),
            "adapter[0]{ VendorID=4318 DeviceId=7 SubSysId=0 Revision=0 DedicatedVideoMemory=1 "
            "DedicatedSystemMemory=0 SharedSystemMemory=2 Description=One \\\"1\\\"}");
  const std::string output = log.of(587);
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 5);
  EXPECT_EQ(output.substr(0, output.find('\n')),
            "output[0]{ DesktopCoordinates={ L=-1920 T=0 R=0 B=1080 W=1920 H=1080 } "
            "AttachedToDesktop=1 Rotation=0 Monitor=0 DeviceName=\\\\\\\\.\\\\DISPLAY1");
}

TEST(WMIData, PairsListedControllersWithAdaptersByPosition) {
  FakeWindows windows;
  LogCapture log;
  EXPECT_EQ(found<WMIData>() + windows.leftOpen(), "");
  windows.adapters = {{L"a", 0x1002, 1}, {L"b", 0x8086, 2}, {L"c", 0x10de, 3}};
  for (const wchar_t* status : {L"OK", L"Error", L"OK", L"ok"})
    windows.controllers.push_back({{L"Status", status}, {L"Name", status}});
  windows.controllers.push_back({{L"Name", L"None"}});
  EXPECT_EQ(found<WMIData>(), "OK 1002:1, OK 8086:2, ok 10de:3, None 0:0, ");
  EXPECT_EQ(windows.leftOpen(), "");
  EXPECT_EQ(windows.calls["CreateDXGIFactory"] + windows.calls["ConnectServer"], 2 * 2);
  const std::string start = "WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"";
  EXPECT_EQ(log.of(213), start + "Error\"\n" + start + "ok\"\n" + start + "\"\n");
}

TEST(AdapterRecords, FailingCallKeepsRecordsAndLeavesTheRestOpen) {
  const std::string all = "COM enumerator factory locator service ";
  const struct {
    int line;  // 603 for DXGI's list, 241 for the service's
    const char* call;
    int use;
    std::string failure;
    const char* records;
    std::string leftOpen;
  } cases[] = {
      {603, "CreateDXGIFactory", 1, "CreateGXGIFactory failed", "", ""},
      {603, "adapter GetDesc", 2, "pAdapter->GetDesc failed", "a 1002:1, ", "adapter factory "},
      {241, "CreateDXGIFactory", 1, "CreateDXGIFactory", "", ""},
      {241, "CoInitializeEx", 1, "CoInitializeEx", "", "factory "},
      {241, "CoCreateInstance", 1, "CoCreateInstance", "", "COM factory "},
      {241, "ConnectServer", 1, "pLoc->ConnectServer", "", "COM factory locator "},
      {241, "CoSetProxyBlanket", 1, "Could not set proxy blanket.", "",
       "COM factory locator service "},
      {241, "ExecQuery", 1, "pSvc->ExecQuery", "", "COM factory locator service "},
      {241, "Next", 2, "pEnumerator->Next", "A 1002:1, ", all},
      {241, "adapter GetDesc", 2, "theIDXGIAdapter->GetDesc", "A 1002:1, ", all},
  };
  for (const auto& c : cases) {
    FakeWindows windows;
    LogCapture log;
    windows.adapters = {{L"a", 0x1002, 1}, {L"b", 0x1002, 2}};
    windows.controllers = {{{L"Name", L"A"}}, {{L"Name", L"B"}}};
    windows.failingCall = c.call;
    windows.failingFrom = c.use;
    EXPECT_EQ(c.line == 603 ? found<DXGIData>() : found<WMIData>(), c.records) << c.failure;
    EXPECT_EQ(windows.leftOpen(), c.leftOpen) << c.failure;
    EXPECT_EQ(windows.failures, c.failure);
    EXPECT_EQ(log.of(c.line), (c.line == 603 ? "DXGIData" : "WMIData") +
                                  ("::GetAllDevices() exception: " + c.failure + "\n"));
  }
}

TEST(WMIData, PropertiesAreListedAndTheUnreadableLogged) {
  const FakeController properties{{L"AdapterRAM", -1048576},
                                  {L"Name", L"Board\tX"},
                                  {L"DriverDate", L"\u00e9"},
                                  {L"X", nullptr}};
  FakeWindows windows;
  LogCapture log;
  IWbemClassObject* object = MakeFakeObject(properties);
  EXPECT_EQ(WMIData::GetAllStrProperties(*object), "DriverDate=\\x00e9, Name=Board\\x0009X");
  const std::string unreadable = log.take();
  EXPECT_EQ(std::count(unreadable.begin(), unreadable.end(), '\n'), 59 - 2);
  EXPECT_EQ(WMIData::GetStrProperty(*object, L"\""), "");
  EXPECT_EQ(WMIData::GetUInt32Property(*object, L"AdapterRAM"), 4293918720u);
  EXPECT_EQ(WMIData::GetUInt32Property(*object, L"X"), 0u);
  EXPECT_EQ(log.of(370) + log.of(349),
            "WIData::GetProperty L\"\\\"\": hr=-2147467259, type=0\n"
            "WIData::GetProperty L\"X\": hr=0, type=13\n");
  object->Release();
  EXPECT_EQ(windows.leftOpen(), "");
}

}  // namespace
