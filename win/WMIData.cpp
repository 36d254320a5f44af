#include "win/WMIData.h"

#include <windows.h>

#include <comdef.h>
#include <wbemcli.h>
#include <wrl/client.h>

#include "log/Diagnostic.h"
#include "log/Quoting.h"
#include "log/ReportFailure.h"
#include "win/WindowsApi.h"
#include "zor/core/SystemTexts_win.h"

using Microsoft::WRL::ComPtr;

namespace {

/// Reads a property into value, which clears itself; false, with a log line, unless the type is
/// the wanted one.
bool readVariant(IWbemClassObject& object, const wchar_t* name, VARTYPE wanted, int line,
                 _variant_t& value) {
  const HRESULT hr = object.Get(name, 0, &value, nullptr, nullptr);
  if (SUCCEEDED(hr) && value.vt == wanted) return true;
  AdapterDiagnostic(line)("WIData::GetProperty L\"", quoteString(name), "\": hr=", hr,
                          ", type=", value.vt);
  return false;
}

void require(HRESULT result, const char* failure) {
  if (FAILED(result)) FailRequirement(failure);
}

/// What one enumeration holds open. Ends by Close or by Abandon.
struct Session {
  ComPtr<IDXGIFactory> factory;
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> service;
  ComPtr<IEnumWbemClassObject> enumerator;

  void Open();
  void Close();
  void Abandon() noexcept;
};

// The order is the log readers': each failure is known by its text, and what comes after it is not
// even tried.
void Session::Open() {
  require(windowsApi.CreateDXGIFactory(IID_PPV_ARGS(factory.ReleaseAndGetAddressOf())),
          "CreateDXGIFactory");
  require(windowsApi.CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");
  require(windowsApi.CoCreateInstance(CLSID_WbemLocator, nullptr,
                                      CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                                      IID_PPV_ARGS(locator.ReleaseAndGetAddressOf())),
          "CoCreateInstance");
  require(locator->ConnectServer(_bstr_t(L"ROOT\\CIMV2"), nullptr, nullptr, nullptr, 0, nullptr,
                                 nullptr, service.ReleaseAndGetAddressOf()),
          "pLoc->ConnectServer");
  // Without it the service may take the calls for those of nobody and refuse them.
  // https://learn.microsoft.com/windows/win32/wmisdk/setting-the-security-levels-on-a-wmi-connection
  require(windowsApi.CoSetProxyBlanket(service.Get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                                       RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr,
                                       EOAC_NONE),
          "Could not set proxy blanket.");
  require(service->ExecQuery(_bstr_t(L"WQL"), _bstr_t(L"SELECT * FROM Win32_VideoController"),
                             WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr,
                             enumerator.ReleaseAndGetAddressOf()),
          "pSvc->ExecQuery");
}

// COM's objects go before COM does; the factory is not one of its apartment's.
void Session::Close() {
  enumerator.Reset();
  service.Reset();
  locator.Reset();
  windowsApi.CoUninitialize();
  factory.Reset();
}

// A failed service is not called again, not even to release it: the interfaces stay referenced
// and COM stays initialised until the process ends.
void Session::Abandon() noexcept {
  enumerator.Detach();
  service.Detach();
  locator.Detach();
  factory.Detach();
}

struct PCIIdentity {
  uint32_t vendorID = 0;
  uint32_t deviceID = 0;
};

/// The service knows no numeric identifiers: those of the adapter at the record's position.
PCIIdentity adapterAt(IDXGIFactory* factory, size_t position) {
  ComPtr<IDXGIAdapter> adapter;
  if (!factory || FAILED(factory->EnumAdapters(static_cast<UINT>(position),
                                               adapter.ReleaseAndGetAddressOf()))) {
    return {};
  }
  DXGI_ADAPTER_DESC desc = {};
  require(adapter->GetDesc(&desc), "theIDXGIAdapter->GetDesc");
  return {desc.VendorId, desc.DeviceId};
}

/// Whether the controller is listed. Anything but "OK" is worth a line.
bool isUsable(IWbemClassObject& object) {
  const std::string status = WMIData::GetStrProperty(object, L"Status");
  if (status != "OK") {
    AdapterDiagnostic(213)("WMIData::GetStrProperty(*pclsObj, L\"Status\") returns \"", status,
                           "\"");
  }
  return status != "Error";
}

void readControllers(const Session& session, std::vector<WMIData>& devices) {
  if (!session.enumerator) return;
  for (;;) {
    ComPtr<IWbemClassObject> object;
    ULONG count = 0;
    require(session.enumerator->Next(static_cast<LONG>(WBEM_INFINITE), 1,
                                     object.ReleaseAndGetAddressOf(), &count),
            "pEnumerator->Next");
    // The object alone tells the end: providers differ in what they count.
    if (!object) return;
    if (!isUsable(*object.Get())) continue;
    const PCIIdentity identity = adapterAt(session.factory.Get(), devices.size());
    devices.emplace_back(*object.Get(), identity.vendorID, identity.deviceID);
  }
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
  out = ZOR::Core::EscapedAscii(value.bstrVal);
  return true;
}

std::string WMIData::GetStrProperty(IWbemClassObject& object, const wchar_t* name) {
  std::string value;
  GetProperty(object, name, value);
  return value;
}

std::vector<WMIData> WMIData::GetAllDevices() {
  std::vector<WMIData> devices;
  Session session;
  GuardedRead(
      "WMIData::GetAllDevices()", 241, 245,
      [&] {
        session.Open();
        readControllers(session, devices);
        session.Close();
      },
      [&] { session.Abandon(); });
  return devices;
}
