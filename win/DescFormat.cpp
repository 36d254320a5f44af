#include "win/DescFormat.h"

#include <string>

#include "log/Quoting.h"

namespace {

/// Bytes under the same escapes as wide texts, one unit a byte.
std::string bytesToLogText(const std::string& bytes) {
  std::wstring units;
  for (const char byte : bytes) units += static_cast<wchar_t>(static_cast<unsigned char>(byte));
  return quoteString(units.c_str());
}

}  // namespace

std::ostream& FormatAdapterDesc(std::ostream& stream, const DXGI_ADAPTER_DESC& desc) {
  return stream << "{ VendorID=" << desc.VendorId << " DeviceId=" << desc.DeviceId
                << " SubSysId=" << desc.SubSysId << " Revision=" << desc.Revision
                << " DedicatedVideoMemory=" << desc.DedicatedVideoMemory
                << " DedicatedSystemMemory=" << desc.DedicatedSystemMemory
                << " SharedSystemMemory=" << desc.SharedSystemMemory
                << " Description=" << quoteString(desc.Description) << "}";
}

std::ostream& FormatOutputDesc(std::ostream& stream, const DXGI_OUTPUT_DESC& desc) {
  stream << "{ DesktopCoordinates=";
  FormatRect(stream, desc.DesktopCoordinates);
  return stream << " AttachedToDesktop=" << desc.AttachedToDesktop
                << " Rotation=" << static_cast<int>(desc.Rotation)
                << " Monitor=" << static_cast<const void*>(desc.Monitor)
                << " DeviceName=" << quoteString(desc.DeviceName);
}

std::ostream& FormatRect(std::ostream& stream, const RECT& rect) {
  return stream << "{ L=" << rect.left << " T=" << rect.top << " R=" << rect.right
                << " B=" << rect.bottom << " W=" << rect.right - rect.left
                << " H=" << rect.bottom - rect.top << " }";
}

std::ostream& FormatDisplayDevice(std::ostream& stream, const ZOR::OGL::DisplayDeviceKey& key) {
  return stream << "{ DeviceName=" << bytesToLogText(key.deviceName)
                << " DeviceString=" << bytesToLogText(key.deviceString)
                << " DisplayID=" << bytesToLogText(key.displayID) << "}";
}
