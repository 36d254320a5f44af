#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

/// A property's value, by the type that the service gives it: a text, a 32-bit integer, or (null)
/// an interface, which shows whether variants are cleared.
using FakeController =
    std::map<std::wstring, std::variant<const wchar_t*, int32_t, std::nullptr_t>>;

struct FakeAdapter {
  const wchar_t* name;
  uint32_t vendorID = 0;
  uint32_t deviceID = 0;
  uint64_t video = 0;
  uint64_t shared = 0;
  std::string outputs = "1";  // each attached (1), detached (0) or failing to describe itself (?)
};

/// WMI, DXGI and the rest of the WindowsApi table, in place of the system's for its own lifetime;
/// one at a time.
struct FakeWindows {
  FakeWindows();
  ~FakeWindows();

  // What the machine is like.
  std::vector<FakeController> controllers;
  std::vector<FakeAdapter> adapters;
  uint64_t installedRAM = 0;
  std::string failingCall;  // from its failingFrom-th use on
  int failingFrom = 1;

  // What was done.
  std::map<std::string, int> calls;
  std::map<std::string, int> held;  // objects by kind of interface; "COM" while initialised
  std::string failures;             // texts of the report sink

  /// What is held, each with a blank after it.
  std::string leftOpen() const;
};

/// The object of a controller outside an enumeration, held until it is released.
struct IWbemClassObject;
IWbemClassObject* MakeFakeObject(const FakeController& controller);
