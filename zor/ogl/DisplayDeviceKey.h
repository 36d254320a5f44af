#pragma once

#include <string>

namespace ZOR::OGL {

/// The device name of EGL's software renderer.
inline constexpr char kSoftwareDeviceName[] = "software";

/// Names one display device to the library.
///
/// | field        | Windows (EnumDisplayDevices)  | Linux (EGL_EXT_device_enumeration)      |
/// | deviceName   | DeviceName, "\\.\DISPLAY1"    | DRM node path, or "software"            |
/// | deviceString | DeviceString, adapter's name, | the device's name as EGL gives it       |
/// |              | in escaped ASCII              |                                         |
/// | displayID    | DeviceID                      | index in EGL's list                     |
struct DisplayDeviceKey {
  std::string deviceName;
  std::string deviceString;
  std::string displayID;
};

}  // namespace ZOR::OGL
