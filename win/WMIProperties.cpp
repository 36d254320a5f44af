#include <windows.h>

#include <wbemcli.h>

#include "gpu/WideText.h"
#include "win/WMIData.h"

namespace {

// https://learn.microsoft.com/windows/win32/cimwin32prov/win32-videocontroller
constexpr const wchar_t* kPropertyNames[] = {
    L"AcceleratorCapabilities",
    L"AdapterCompatibility",
    L"AdapterDACType",
    L"AdapterRAM",
    L"Availability",
    L"CapabilityDescriptions",
    L"Caption",
    L"ColorTableEntries",
    L"ConfigManagerErrorCode",
    L"ConfigManagerUserConfig",
    L"CreationClassName",
    L"CurrentBitsPerPixel",
    L"CurrentHorizontalResolution",
    L"CurrentNumberOfColors",
    L"CurrentNumberOfColumns",
    L"CurrentNumberOfRows",
    L"CurrentRefreshRate",
    L"CurrentScanMode",
    L"CurrentVerticalResolution",
    L"Description",
    L"DeviceID",
    L"DeviceSpecificPens",
    L"DitherType",
    L"DriverDate",
    L"DriverVersion",
    L"ErrorCleared",
    L"ErrorDescription",
    L"ICMIntent",
    L"ICMMethod",
    L"InfFilename",
    L"InfSection",
    L"InstallDate",
    L"InstalledDisplayDrivers",
    L"LastErrorCode",
    L"MaxMemorySupported",
    L"MaxNumberControlled",
    L"MaxRefreshRate",
    L"MinRefreshRate",
    L"Monochrome",
    L"Name",
    L"NumberOfColorPlanes",
    L"NumberOfVideoPages",
    L"PNPDeviceID",
    L"PowerManagementCapabilities",
    L"PowerManagementSupported",
    L"ProtocolSupported",
    L"ReservedSystemPaletteEntries",
    L"SpecificationVersion",
    L"Status",
    L"StatusInfo",
    L"SystemCreationClassName",
    L"SystemName",
    L"SystemPaletteEntries",
    L"TimeOfLastReset",
    L"VideoArchitecture",
    L"VideoMemoryType",
    L"VideoMode",
    L"VideoModeDescription",
    L"VideoProcessor",
    nullptr,
};

}  // namespace

std::string WMIData::GetAllStrProperties(IWbemClassObject& object) {
  std::string result;
  for (const wchar_t* const* name = kPropertyNames; *name; ++name) {
    std::string value;
    if (!GetProperty(object, *name, value)) continue;
    if (!result.empty()) result += ", ";
    result += WideToEscapedAscii(*name) + "=" + value;
  }
  return result;
}
