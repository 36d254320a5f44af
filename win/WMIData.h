#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gpu/AdapterMemory.h"

struct IWbemClassObject;

/// One display controller as the management service describes it: an instance of
/// Win32_VideoController. Texts are in escaped ASCII (ZOR::Core::EscapedAscii).
class WMIData : public GPUData {
 public:
  /// No controller: numbers 0, texts "?".
  WMIData();
  /// Reads one instance. A property that is missing or of another type leaves 0 or no text.
  WMIData(IWbemClassObject& object, uint32_t vendorID, uint32_t deviceID);

  /// Every controller that is not in the "Error" state, in the service's order. Never throws:
  /// after a failure, which is logged, the records collected so far.
  static std::vector<WMIData> GetAllDevices();

  std::string GetName() const override { return GetDescription(); }
  /// Bytes.
  uint32_t GetVideoMemory() const override { return fAdapterRAM; }
  uint32_t GetVendorID() const override { return fVendorID; }
  uint32_t GetDeviceID() const override { return fDeviceID; }
  std::string GetDescription() const override { return fName; }

  std::string GetCaption() const { return fCaption; }
  std::string GetInstalledDisplayDrivers() const { return fInstalledDisplayDrivers; }
  std::string GetVideoModeDescription() const { return fVideoModeDescription; }
  std::string GetDriverVersion() const { return fDriverVersion; }
  std::string GetDriverDate() const { return fDriverDate; }

  /// Reads a property. False, with a log line and out as it was, when it is missing or has
  /// another type than the service uses for the value.
  static bool GetProperty(IWbemClassObject& object, const wchar_t* name, uint32_t& out);
  static bool GetProperty(IWbemClassObject& object, const wchar_t* name, std::string& out);
  /// The value, or nothing (an empty text, 0) where GetProperty fails.
  static std::string GetStrProperty(IWbemClassObject& object, const wchar_t* name);
  static uint32_t GetUInt32Property(IWbemClassObject& object, const wchar_t* name);
  /// Every property of the class that reads as a text: "name=value, name=value".
  static std::string GetAllStrProperties(IWbemClassObject& object);

 private:
  uint32_t fAdapterRAM = 0;
  uint32_t fVendorID = 0;
  uint32_t fDeviceID = 0;
  std::string fName;
  std::string fCaption;
  std::string fInstalledDisplayDrivers;
  std::string fVideoModeDescription;
  std::string fDriverVersion;
  std::string fDriverDate;
};
