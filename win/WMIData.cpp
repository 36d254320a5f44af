#include "win/WMIData.h"

#include <windows.h>

#include <comdef.h>
#include <wbemcli.h>

#include "gpu/WideText.h"
#include "log/Diagnostic.h"

namespace {

/// Reads a property into value, which clears itself; false, with a log line, unless the type is
/// the wanted one.
bool readVariant(IWbemClassObject& object, const wchar_t* name, VARTYPE wanted, int line,
                 _variant_t& value) {
  const HRESULT hr = object.Get(name, 0, &value, nullptr, nullptr);
  if (SUCCEEDED(hr) && value.vt == wanted) return true;
  AdapterDiagnostic(line)("WIData::GetProperty L\"", WideLogPiece{name}, "\": hr=", hr,
                          ", type=", value.vt);
  return false;
}

}  // namespace

WMIData::WMIData()
    : fName("?"),
      fCaption("?"),
      fInstalledDisplayDrivers("?"),
      fVideoModeDescription("?"),
      fDriverVersion("?"),
      fDriverDate("?") {}

WMIData::WMIData(IWbemClassObject& object, uint32_t vendorID, uint32_t deviceID)
    : fVendorID(vendorID), fDeviceID(deviceID) {
  GetProperty(object, L"AdapterRAM", fAdapterRAM);
  fName = GetStrProperty(object, L"Name");
  fCaption = GetStrProperty(object, L"Caption");
  fInstalledDisplayDrivers = GetStrProperty(object, L"InstalledDisplayDrivers");
  fVideoModeDescription = GetStrProperty(object, L"VideoModeDescription");
  fDriverVersion = GetStrProperty(object, L"DriverVersion");
  fDriverDate = GetStrProperty(object, L"DriverDate");
}

bool WMIData::GetProperty(IWbemClassObject& object, const wchar_t* name, uint32_t& out) {
  _variant_t value;
  // The service hands its unsigned 32-bit properties out as signed ones.
  // https://learn.microsoft.com/windows/win32/wmisdk/numbers
  if (!readVariant(object, name, VT_I4, 349, value)) return false;
  out = static_cast<uint32_t>(value.lVal);
  return true;
}

bool WMIData::GetProperty(IWbemClassObject& object, const wchar_t* name, std::string& out) {
  _variant_t value;
  if (!readVariant(object, name, VT_BSTR, 370, value)) return false;
  out = WideToEscapedAscii(value.bstrVal);
  return true;
}

std::string WMIData::GetStrProperty(IWbemClassObject& object, const wchar_t* name) {
  std::string value;
  GetProperty(object, name, value);
  return value;
}

uint32_t WMIData::GetUInt32Property(IWbemClassObject& object, const wchar_t* name) {
  uint32_t value = 0;
  GetProperty(object, name, value);
  return value;
}
