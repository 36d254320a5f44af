#include "linux/GLDriverText.h"

#include <algorithm>
#include <iterator>

namespace {

// Mesa and NVIDIA put the profile in parentheses, AMD's own driver writes it out.
constexpr std::string_view kProfileRemarks[] = {
    "(Compatibility Profile)", "(Core Profile)",  "Compatibility Profile Context",
    "Core Profile Context",    "Profile Context",
};

// Mesa's two of today, its two of yesterday, and Google's.
constexpr std::string_view kSoftwareRenderers[] = {
    "llvmpipe", "softpipe", "Software Rasterizer", "SWR", "Google SwiftShader",
};

void skipBlanks(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

}  // namespace

std::string DriverVersionFromGLVersion(std::string_view glVersion) {
  // OpenGL 4.6, section 22.2: version number, blank, vendor-specific information.
  glVersion.remove_prefix(std::min(glVersion.find(' '), glVersion.size()));
  skipBlanks(glVersion);
  for (std::string_view remark : kProfileRemarks) {
    if (glVersion.substr(0, remark.size()) != remark) continue;
    glVersion.remove_prefix(remark.size());
    skipBlanks(glVersion);
    break;
  }
  return std::string(glVersion);
}

bool IsSoftwareRenderer(std::string_view glRenderer) {
  return std::any_of(
      std::begin(kSoftwareRenderers), std::end(kSoftwareRenderers),
      [&](std::string_view name) { return glRenderer.substr(0, name.size()) == name; });
}

bool IsNVIDIADriver(std::string_view glVendor) {
  return glVendor == "NVIDIA Corporation";
}
