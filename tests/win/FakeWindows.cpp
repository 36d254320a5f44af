// The C view of the interfaces: a table of functions, of which only the used ones are filled. A
// call of any other one ends the test program.
#define CINTERFACE
#include "tests/win/FakeWindows.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <wbemcli.h>

#include <array>
#include <utility>

#include "log/ReportFailure.h"
#include "win/WindowsApi.h"

namespace {

FakeWindows* fake;
WindowsApi systemApi;
ReportSink systemSink;

template <class Interface>
struct Object : Interface {
  std::remove_pointer_t<decltype(Interface::lpVtbl)> table{};
  const char* kind = nullptr;
  size_t position = 0;  // in the list that it stands for or walks
  const FakeAdapter* adapter = nullptr;
  const FakeController* controller = nullptr;
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
HRESULT give(const char* call, const char* kind, Interface** out, Fill fill) {
  if (FAILED(use(call))) return E_FAIL;
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

HRESULT describeOutput(IDXGIOutput* output, DXGI_OUTPUT_DESC* desc) {
  const char kind = self(output).adapter->outputs[self(output).position];
  desc->AttachedToDesktop = kind != '0';
  desc->DesktopCoordinates = {-1920, 0, 0, 1080};
  wcscpy(desc->DeviceName, L"\\\\.\\DISPLAY1");
  return kind == '?' ? E_FAIL : S_OK;
}

HRESULT enumOutputs(IDXGIAdapter* adapter, UINT index, IDXGIOutput** out) {
  if (index >= self(adapter).adapter->outputs.size()) return DXGI_ERROR_NOT_FOUND;
  return give("EnumOutputs", "output", out, [&](auto& output) {
    output.table.GetDesc = describeOutput;
    output.adapter = self(adapter).adapter;
    output.position = index;
  });
}

HRESULT describeAdapter(IDXGIAdapter* adapter, DXGI_ADAPTER_DESC* desc) {
  const FakeAdapter& source = *self(adapter).adapter;
  *desc = {{}, source.vendorID, source.deviceID, 0, 0, source.video, 0, source.shared, {}};
  wcscpy(desc->Description, source.name);
  return use("adapter GetDesc");
}

HRESULT enumAdapters(IDXGIFactory*, UINT index, IDXGIAdapter** out) {
  if (index >= fake->adapters.size()) return DXGI_ERROR_NOT_FOUND;
  return give("EnumAdapters", "adapter", out, [&](auto& adapter) {
    adapter.table.EnumOutputs = enumOutputs;
    adapter.table.GetDesc = describeAdapter;
    adapter.adapter = &fake->adapters[index];
  });
}

HRESULT getProperty(IWbemClassObject* object, LPCWSTR name, LONG, VARIANT* value, CIMTYPE*, LONG*) {
  const auto found = self(object).controller->find(name);
  if (found == self(object).controller->end()) return E_FAIL;
  value->vt = std::array<VARTYPE, 3>{VT_BSTR, VT_I4, VT_UNKNOWN}[found->second.index()];
  if (value->vt == VT_BSTR)
    value->bstrVal = SysAllocString(std::get<0>(found->second));
  else if (value->vt == VT_I4)
    value->lVal = std::get<1>(found->second);
  else
    give("Get", "variant", &value->punkVal, [](auto&) {});
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
  EXPECT_EQ(std::wstring(language) + query, L"WQLSELECT * FROM Win32_VideoController");
  EXPECT_EQ(flags, 0x30);
  return give("ExecQuery", "enumerator", out, [](auto& made) { made.table.Next = next; });
}

HRESULT connectServer(IWbemLocator*, BSTR path, BSTR, BSTR, BSTR, LONG, BSTR, IWbemContext*,
                      IWbemServices** out) {
  EXPECT_STREQ(path, L"ROOT\\CIMV2");
  return give("ConnectServer", "service", out,
              [](auto& service) { service.table.ExecQuery = execQuery; });
}

/// The six calls, in the order of the table.
const WindowsApi fakeApi = {
    [](REFIID, void** out) -> HRESULT {
      return give("CreateDXGIFactory", "factory", reinterpret_cast<IDXGIFactory**>(out),
                  [](auto& factory) { factory.table.EnumAdapters = enumAdapters; });
    },
    [](LPVOID, DWORD model) -> HRESULT {
      EXPECT_EQ(model, 2u);
      if (FAILED(use("CoInitializeEx"))) return E_FAIL;
      ++fake->held["COM"];
      return S_FALSE;  // as on a thread that is initialised already
    },
    [](REFCLSID kind, LPUNKNOWN, DWORD context, REFIID, LPVOID* out) -> HRESULT {
      EXPECT_TRUE(kind == CLSID_WbemLocator && context == 5);
      return give("CoCreateInstance", "locator", reinterpret_cast<IWbemLocator**>(out),
                  [](auto& locator) { locator.table.ConnectServer = connectServer; });
    },
    [](IUnknown*, DWORD authentication, DWORD, OLECHAR*, DWORD level, DWORD impersonation,
       RPC_AUTH_IDENTITY_HANDLE, DWORD) -> HRESULT {
      EXPECT_TRUE(authentication == 10 && level == 3 && impersonation == 3);
      return use("CoSetProxyBlanket");
    },
    [] { --fake->held["COM"]; },
    [](LPMEMORYSTATUSEX status) -> BOOL {
      EXPECT_EQ(status->dwLength, 64u);
      status->ullTotalPhys = fake->installedRAM;
      return use("GlobalMemoryStatusEx") == S_OK;
    }};

}  // namespace

FakeWindows::FakeWindows() {
  fake = this;
  systemApi = std::exchange(windowsApi, fakeApi);
  systemSink = std::exchange(reportSink, [](const std::string& text) { fake->failures += text; });
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
  give("object", "object", &object, [&](auto& made) {
    made.table.Get = getProperty;
    made.controller = &controller;
  });
  return object;
}
