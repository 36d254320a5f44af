#include "win/WMIData.h"

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"
#include "tests/win/FakeWindows.h"

namespace {

/// Names and identifiers: "A 1002:67df, ".
std::string summary(const std::vector<WMIData>& records) {
  std::ostringstream text;
  for (const WMIData& record : records)
    text << record.GetName() << ' ' << std::hex << record.GetVendorID() << ':'
         << record.GetDeviceID() << ", ";
  return text.str();
}

TEST(WMIData, PairsListedControllersWithAdaptersByPosition) {
  FakeWindows windows;
  LogCapture log;
  EXPECT_EQ(summary(WMIData::GetAllDevices()), "");
  EXPECT_EQ(windows.leftOpen(), "");

  windows.calls.clear();
  windows.adapters = {{L"a", 0x1002, 1}, {L"b", 0x8086, 2}, {L"c", 0x10de, 3}};
  for (const wchar_t* status : {L"OK", L"Error", L"OK", L"ok"})
    windows.controllers.push_back({{L"Status", status}, {L"Name", status}});
  windows.controllers.push_back({{L"Name", L"None"}});
  EXPECT_EQ(summary(WMIData::GetAllDevices()), "OK 1002:1, OK 8086:2, ok 10de:3, None 0:0, ");
  EXPECT_EQ(windows.leftOpen(), "");
  EXPECT_EQ(windows.calls["CreateDXGIFactory"], 1);
  EXPECT_EQ(windows.calls["ConnectServer"], 1);
  const std::string start = "WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"";
  EXPECT_EQ(log.of(213), start + "Error\"\n" + start + "ok\"\n" + start + "\"\n");
}

TEST(WMIData, FailingCallKeepsRecordsAndLeavesTheRestOpen) {
  const std::string all = "COM enumerator factory locator service ";
  const struct {
    const char* call;
    int use;
    std::string failure;
    const char* records;
    std::string leftOpen;
  } cases[] = {
      {"CreateDXGIFactory", 1, "CreateDXGIFactory", "", ""},
      {"CoInitializeEx", 1, "CoInitializeEx", "", "factory "},
      {"CoCreateInstance", 1, "CoCreateInstance", "", "COM factory "},
      {"ConnectServer", 1, "pLoc->ConnectServer", "", "COM factory locator "},
      {"CoSetProxyBlanket", 1, "Could not set proxy blanket.", "", "COM factory locator service "},
      {"ExecQuery", 1, "pSvc->ExecQuery", "", "COM factory locator service "},
      {"Next", 1, "pEnumerator->Next", "", all},
      {"Next", 2, "pEnumerator->Next", "A 1002:1, ", all},
      {"adapter GetDesc", 2, "theIDXGIAdapter->GetDesc", "A 1002:1, ", all},
  };
  for (const auto& c : cases) {
    FakeWindows windows;
    LogCapture log;
    windows.adapters = {{L"a", 0x1002, 1}, {L"b", 0x1002, 2}};
    windows.controllers = {{{L"Name", L"A"}}, {{L"Name", L"B"}}};
    windows.failingCall = c.call;
    windows.failingFrom = c.use;
    EXPECT_EQ(summary(WMIData::GetAllDevices()), c.records);
    EXPECT_EQ(windows.leftOpen(), c.leftOpen) << c.failure;
    EXPECT_EQ(windows.failures, c.failure);
    EXPECT_EQ(log.of(241), "WMIData::GetAllDevices() exception: " + c.failure + "\n");
  }
}

TEST(WMIData, AllTextsAreListedAndTheUnreadableLogged) {
  const FakeController properties{{L"AdapterRAM", -1048576},
                                  {L"Name", L"Board\tX"},
                                  {L"Caption", L"C"},
                                  {L"DriverDate", L"\u00e9"}};
  FakeWindows windows;
  IWbemClassObject* object = MakeFakeObject(properties);
  EXPECT_EQ(WMIData(*object, 0, 0).GetVideoMemory(), 4293918720u);
  LogCapture log;
  EXPECT_EQ(WMIData::GetAllStrProperties(*object),
            "Caption=C, DriverDate=\\x00e9, Name=Board\\x0009X");
  const std::string unreadable = log.take();
  EXPECT_EQ(std::count(unreadable.begin(), unreadable.end(), '\n'), 59 - 3);
  ReleaseFakeObject(object);
}

TEST(WMIData, PropertyOfAnotherTypeIsLoggedAndLeavesTheValue) {
  const FakeController properties{{L"Text", L"5"}, {L"Number", 5}, {L"Object", nullptr}};
  FakeWindows windows;
  LogCapture log;
  IWbemClassObject* object = MakeFakeObject(properties);
  uint32_t number = 7;
  std::string text = "kept";
  EXPECT_FALSE(WMIData::GetProperty(*object, L"Text", number));
  EXPECT_FALSE(WMIData::GetProperty(*object, L"Object", number));
  EXPECT_FALSE(WMIData::GetProperty(*object, L"Number", text));
  EXPECT_FALSE(WMIData::GetProperty(*object, L"\"", text));
  EXPECT_EQ(text + std::to_string(number), "kept7");
  EXPECT_EQ(log.take(),
            "349 WIData::GetProperty L\"Text\": hr=0, type=8\n"
            "349 WIData::GetProperty L\"Object\": hr=0, type=13\n"
            "370 WIData::GetProperty L\"Number\": hr=0, type=3\n"
            "370 WIData::GetProperty L\"\\\"\": hr=-2147467259, type=0\n");
  EXPECT_EQ(WMIData::GetUInt32Property(*object, L"Number"), 5u);
  EXPECT_EQ(WMIData::GetUInt32Property(*object, L"Text"), 0u);
  ReleaseFakeObject(object);
  EXPECT_EQ(windows.leftOpen(), "");
}

}  // namespace
