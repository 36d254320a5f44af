// adapters [NAME]: what plain calls say about the machine's display adapters, as key=value lines.
// With a NAME, first makes it the name of every display device. Shares no code with the probe.
#include <windows.h>

#include <comdef.h>
#include <dxgi.h>
#include <wbemidl.h>
#include <wrl/client.h>

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

using Microsoft::WRL::ComPtr;

namespace {

std::vector<std::string> subkeysOf(const std::string& path) {
  std::vector<std::string> paths;
  HKEY parent = nullptr;
  RegOpenKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &parent);
  char key[100];
  for (DWORD i = 0; RegEnumKeyA(parent, i, key, sizeof key) == ERROR_SUCCESS; ++i)
    paths.push_back(path + "\\" + key);
  return paths;
}

void nameDisplays(const std::string& name) {
  const auto setName = [&](const std::string& path, const char* value) {
    RegSetKeyValueA(HKEY_LOCAL_MACHINE, path.c_str(), value, REG_SZ, name.c_str(),
                    static_cast<DWORD>(name.size() + 1));
  };
  const std::string control = "SYSTEM\\CurrentControlSet\\";
  // Wine 8 takes the name from the first place, Wine 10 from the second.
  for (const std::string& video : subkeysOf(control + "Control\\Video"))
    setName(video + "\\0000", "DriverDesc");
  for (const std::string& device : subkeysOf(control + "Enum\\PCI"))
    for (const std::string& instance : subkeysOf(device)) setName(instance, "DeviceDesc");
}

void printDisplays() {
  DISPLAY_DEVICEW device{};
  device.cb = sizeof device;
  for (DWORD i = 0; EnumDisplayDevicesW(nullptr, i, &device, 0); ++i)
    if (device.StateFlags & DISPLAY_DEVICE_ATTACHED_TO_DESKTOP)
      std::printf("display%lu=%ls\n", i, device.DeviceString);
}

void printDXGI() {
  ComPtr<IDXGIFactory> factory;
  if (FAILED(CreateDXGIFactory(IID_PPV_ARGS(&factory)))) return;
  ComPtr<IDXGIAdapter> adapter;
  for (UINT i = 0; SUCCEEDED(factory->EnumAdapters(i, &adapter)); ++i) {
    DXGI_ADAPTER_DESC desc;
    adapter->GetDesc(&desc);
    std::printf("dxgi%u.Description=%ls\ndxgi%u.VendorId=%u\ndxgi%u.DeviceId=%u\n", i,
                desc.Description, i, desc.VendorId, i, desc.DeviceId);
    std::printf("dxgi%u.Video=%zu\ndxgi%u.System=%zu\ndxgi%u.Shared=%zu\n", i,
                desc.DedicatedVideoMemory, i, desc.DedicatedSystemMemory, i,
                desc.SharedSystemMemory);
  }
}

void printWMI() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  ComPtr<IWbemLocator> locator;
  ComPtr<IWbemServices> services;
  ComPtr<IEnumWbemClassObject> controllers;
  if (FAILED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                              IID_PPV_ARGS(&locator))) ||
      FAILED(locator->ConnectServer(_bstr_t(L"ROOT\\CIMV2"), nullptr, nullptr, nullptr, 0, nullptr,
                                    nullptr, &services)) ||
      FAILED(services->CreateInstanceEnum(_bstr_t(L"Win32_VideoController"), 0, nullptr,
                                          &controllers)))
    return;
  ComPtr<IWbemClassObject> controller;
  ULONG count = 0;
  for (int i = 0; controllers->Next(5000, 1, &controller, &count) == S_OK; ++i)
    for (const wchar_t* name : {L"Name", L"Status", L"AdapterRAM", L"DriverVersion", L"DriverDate",
                                L"InstalledDisplayDrivers"}) {
      _variant_t value;
      controller->Get(name, 0, &value, nullptr, nullptr);
      std::printf("wmi%d.%ls=", i, name);
      if (value.vt == VT_I4)
        std::printf("%lu\n", value.ulVal);
      else
        std::printf("%ls\n", value.vt == VT_BSTR ? value.bstrVal : L"");
    }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) nameDisplays(argv[1]);
  printDisplays();
  printDXGI();
  printWMI();
  MEMORYSTATUSEX memory{};
  memory.dwLength = sizeof memory;
  GlobalMemoryStatusEx(&memory);
  std::printf("installed=%llu\n", memory.ullTotalPhys);
}
