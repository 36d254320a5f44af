#include "GLDriverText.h"

#include <algorithm>

namespace {

// Mesa and NVIDIA put the profile in parentheses, AMD's own driver writes it out.
constexpr std::string_view kProfileRemarks[] = {
    "(Compatibility Profile)", "(Core Profile)",  "Compatibility Profile Context",
    "Core Profile Context",    "Profile Context",
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
