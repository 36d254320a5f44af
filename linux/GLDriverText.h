#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The driver's own version in a GL_VERSION text: what follows the OpenGL version, without the
/// remark on the profile. "4.5 (Compatibility Profile) Mesa 22.3.6" gives "Mesa 22.3.6". Empty
/// where the driver adds nothing.
std::string DriverVersionFromGLVersion(std::string_view glVersion);

/// Whether a GL_RENDERER text is that of a renderer that draws with the processor.
bool IsSoftwareRenderer(std::string_view glRenderer);

/// The PCI vendor whose own driver writes this GL_VENDOR text; 0 for Mesa's, whose texts say as
/// much of the driver as of the card.
uint32_t VendorIDOfOwnDriver(std::string_view glVendor);
