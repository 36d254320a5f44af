#pragma once

#include <string>
#include <string_view>

/// The driver's own version in a GL_VERSION text: what follows the OpenGL version, without the
/// remark on the profile. "4.5 (Compatibility Profile) Mesa 22.3.6" gives "Mesa 22.3.6". Empty
/// where the driver adds nothing.
std::string DriverVersionFromGLVersion(std::string_view glVersion);

/// Whether a GL_RENDERER text is that of a renderer that draws with the processor.
bool IsSoftwareRenderer(std::string_view glRenderer);

/// Whether a GL_VENDOR text is that of NVIDIA's own driver.
bool IsNVIDIADriver(std::string_view glVendor);
