// The C view of the interfaces: a table of functions, of which only the used ones are filled. A
// call of any other one ends the test program.
#define CINTERFACE
#include "tests/win/FakeWindows.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <wbemcli.h>

#include "log/ReportFailure.h"
#include "win/WindowsApi.h"

namespace {

FakeWindows* fake;
WindowsApi systemApi;
ReportSink systemSink;

template <class Interface>
struct Object : Interface {
  std::remove_pointer_t<decltype(Interface::lpVtbl)> table;
  const char* kind;
  size_t position;  // in the list that it stands for or walks
  const FakeAdapter* adapter;
  const FakeController* controller;
};

template <class Interface>
Object<Interface>& self(Interface* object) {
  return *static_cast<Object<Interface>*>(object);
}

HRESULT use(const std::string& call) {
  return ++fake->calls[call] >= fake->failingFrom && call == fake->failingCall ? E_FAIL : S_OK;
}

/// Makes the object that a call hands out, for one owner; fill sets what it has of its own.
template <class Interface, class Fill>
HRESULT give(const char* kind, Interface** out, Fill fill) {
  auto* object = new Object<Interface>();
  object->lpVtbl = &object->table;
  object->kind = kind;
  ++fake->held[kind];
  object->table.Release = [](Interface* released) -> ULONG {
    --fake->held[self(released).kind];
    delete &self(released);
    return 0;
  };
  fill(*object);
  *out = object;
  return S_OK;
}

template <class Interface, class Fill>
HRESULT give(const char* call, const char* kind, Interface** out, Fill fill) {
  const HRESULT result = use(call);
  return FAILED(result) ? result : give(kind, out, fill);
}

HRESULT describeOutput(IDXGIOutput* output, DXGI_OUTPUT_DESC* desc) {
  const char kind = self(output).adapter->outputs[self(output).position];
  desc->AttachedToDesktop = kind != '0';
  desc->DesktopCoordinates = {-1920, 0, 0, 1080};
  wcscpy(desc->DeviceName, L"\\\\.\\DISPLAY1");
  return kind == '?' ? E_FAIL : S_OK;
}

HRESULT enumOutputs(IDXGIAdapter* adapter, UINT index, IDXGIOutput** out) {
  if (index >= self(adapter).adapter->outputs.size()) return DXGI_ERROR_NOT_FOUND;
  return give("output", out, [&](auto& output) {
    output.table.GetDesc = describeOutput;
    output.adapter = self(adapter).adapter;
    output.position = index;
  });
}

HRESULT describeAdapter(IDXGIAdapter* adapter, DXGI_ADAPTER_DESC* desc) {
  const FakeAdapter& source = *self(adapter).adapter;
  wcscpy(desc->Description, source.name);
  desc->VendorId = source.vendorID;
  desc->DeviceId = source.deviceID;
  desc->DedicatedVideoMemory = source.video;
  desc->SharedSystemMemory = source.shared;
  return use("adapter GetDesc");
}

HRESULT enumAdapters(IDXGIFactory*, UINT index, IDXGIAdapter** out) {
  if (index >= fake->adapters.size()) return DXGI_ERROR_NOT_FOUND;
  return give("adapter", out, [&](auto& adapter) {
    adapter.table.EnumOutputs = enumOutputs;
    adapter.table.GetDesc = describeAdapter;
    adapter.adapter = &fake->adapters[index];
  });
}

HRESULT WINAPI createFactory(REFIID, void** out) {
  return give("CreateDXGIFactory", "factory", reinterpret_cast<IDXGIFactory**>(out),
              [](auto& factory) { factory.table.EnumAdapters = enumAdapters; });
}

HRESULT getProperty(IWbemClassObject* object, LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*) {
  const auto found = self(object).controller->find(name);
  if (found == self(object).controller->end()) return E_FAIL;
  if (const auto* text = std::get_if<const wchar_t*>(&found->second)) {
    value->vt = VT_BSTR;
    value->bstrVal = SysAllocString(*text);
  } else if (const auto* number = std::get_if<int32_t>(&found->second)) {
    value->vt = VT_I4;
    value->lVal = *number;
  } else {
    value->vt = VT_UNKNOWN;
    give("variant", &value->punkVal, [](auto&) {});
  }
  return S_OK;
}

HRESULT next(IEnumWbemClassObject* enumerator, LONG timeout, ULONG, IWbemClassObject** out,
             ULONG*) {
  EXPECT_EQ(timeout, -1);
  const HRESULT result = use("Next");
  size_t& position = self(enumerator).position;
  if (FAILED(result) || position == fake->controllers.size()) return result;
  *out = MakeFakeObject(fake->controllers[position++]);
  return S_OK;
}

HRESULT execQuery(IWbemServices*, BSTR language, BSTR query, LONG flags, IWbemContext*,
                  IEnumWbemClassObject** out) {
  EXPECT_STREQ(language, L"WQL");
  EXPECT_STREQ(query, L"SELECT * FROM Win32_VideoController");
  EXPECT_EQ(flags, 0x30);
  return give("ExecQuery", "enumerator", out, [](auto& made) { made.table.Next = next; });
}

HRESULT connectServer(IWbemLocator*, BSTR path, BSTR, BSTR, BSTR, LONG, BSTR, IWbemContext*,
                      IWbemServices** out) {
  EXPECT_STREQ(path, L"ROOT\\CIMV2");
  return give("ConnectServer", "service", out,
              [](auto& service) { service.table.ExecQuery = execQuery; });
}

HRESULT WINAPI createInstance(REFCLSID kind, LPUNKNOWN, DWORD context, REFIID, LPVOID* out) {
  EXPECT_TRUE(kind == CLSID_WbemLocator && context == 5);
  return give("CoCreateInstance", "locator", reinterpret_cast<IWbemLocator**>(out),
              [](auto& locator) { locator.table.ConnectServer = connectServer; });
}

HRESULT WINAPI setBlanket(IUnknown*, DWORD authentication, DWORD, OLECHAR*, DWORD level,
                          DWORD impersonation, RPC_AUTH_IDENTITY_HANDLE, DWORD) {
  EXPECT_TRUE(authentication == 10 && level == 3 && impersonation == 3);
  return use("CoSetProxyBlanket");
}

HRESULT WINAPI initializeCOM(LPVOID, DWORD model) {
  EXPECT_EQ(model, 2u);
  const HRESULT result = use("CoInitializeEx");
  if (FAILED(result)) return result;
  ++fake->held["COM"];
  return S_FALSE;  // as on a thread that is initialised already
}

void WINAPI uninitializeCOM() {
  --fake->held["COM"];
}

BOOL WINAPI memoryStatus(LPMEMORYSTATUSEX status) {
  EXPECT_EQ(status->dwLength, 64u);
  status->ullTotalPhys = fake->installedRAM;
  return use("GlobalMemoryStatusEx") == S_OK;
}

}  // namespace

FakeWindows::FakeWindows() {
  fake = this;
  systemApi = windowsApi;
  systemSink = reportSink;
  windowsApi = {createFactory, initializeCOM,   createInstance,
                setBlanket,    uninitializeCOM, memoryStatus};
  reportSink = [](const std::string& text) { fake->failures += text; };
}

FakeWindows::~FakeWindows() {
  windowsApi = systemApi;
  reportSink = systemSink;
}

std::string FakeWindows::leftOpen() const {
  std::string text;
  for (const auto& [kind, count] : held)
    if (count != 0) text += kind + " ";
  return text;
}

IWbemClassObject* MakeFakeObject(const FakeController& controller) {
  IWbemClassObject* object = nullptr;
  give("object", &object, [&](auto& made) {
    made.table.Get = getProperty;
    made.controller = &controller;
  });
  return object;
}

void ReleaseFakeObject(IWbemClassObject* object) {
  object->lpVtbl->Release(object);
}
