#include <windows.h>

#include <wbemcli.h>

#include "win/WMIData.h"
#include "zor/core/SystemTexts_win.h"

// Readers that the contract has and the probe itself does not need.

namespace {

// https://learn.microsoft.com/windows/win32/cimwin32prov/win32-videocontroller
// clang-format off
constexpr const wchar_t* kPropertyNames[] = {
    L"AcceleratorCapabilities", L"AdapterCompatibility", L"AdapterDACType", L"AdapterRAM",
    L"Availability", L"CapabilityDescriptions", L"Caption", L"ColorTableEntries",
    L"ConfigManagerErrorCode", L"ConfigManagerUserConfig", L"CreationClassName",
    L"CurrentBitsPerPixel", L"CurrentHorizontalResolution", L"CurrentNumberOfColors",
    L"CurrentNumberOfColumns", L"CurrentNumberOfRows", L"CurrentRefreshRate", L"CurrentScanMode",
    L"CurrentVerticalResolution", L"Description", L"DeviceID", L"DeviceSpecificPens", L"DitherType",
    L"DriverDate", L"DriverVersion", L"ErrorCleared", L"ErrorDescription", L"ICMIntent",
    L"ICMMethod", L"InfFilename", L"InfSection", L"InstallDate", L"InstalledDisplayDrivers",
    L"LastErrorCode", L"MaxMemorySupported", L"MaxNumberControlled", L"MaxRefreshRate",
    L"MinRefreshRate", L"Monochrome", L"Name", L"NumberOfColorPlanes", L"NumberOfVideoPages",
    L"PNPDeviceID", L"PowerManagementCapabilities", L"PowerManagementSupported",
    L"ProtocolSupported", L"ReservedSystemPaletteEntries", L"SpecificationVersion", L"Status",
    L"StatusInfo", L"SystemCreationClassName", L"SystemName", L"SystemPaletteEntries",
    L"TimeOfLastReset", L"VideoArchitecture", L"VideoMemoryType", L"VideoMode",
    L"VideoModeDescription", L"VideoProcessor",
};
// clang-format on

}  // namespace

std::string WMIData::GetAllStrProperties(IWbemClassObject& object) {
  std::string result;
  for (const wchar_t* name : kPropertyNames) {
    std::string value;
    if (!GetProperty(object, name, value)) continue;
    if (!result.empty()) result += ", ";
    result += ZOR::Core::EscapedAscii(name) + "=" + value;
  }
  return result;
}

uint32_t WMIData::GetUInt32Property(IWbemClassObject& object, const wchar_t* name) {
  uint32_t value = 0;
  GetProperty(object, name, value);
  return value;
}
