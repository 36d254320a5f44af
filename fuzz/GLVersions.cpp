#include <string>

#include "fuzz/Targets.h"
#include "linux/GLDriverText.h"
#include "zor/ogl/ExtensionManager.h"

int FuzzGLVersions(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string driver = DriverVersionFromGLVersion(text);
  Promise(driver.size() <= size && text.compare(size - driver.size(), size, driver) == 0,
          "the driver's version ends the text");
  Promise(driver.empty() || driver[0] != ' ', "the driver's version begins at once");
  const ZOR::OGL::GLVersion version = ZOR::OGL::ParseGLVersion(text);
  const bool number = size > 0 && text[0] >= '0' && text[0] <= '9';
  Promise(number || (!version.major && !version.minor && !version.release),
          "without a number there is no version");
  return 0;
}
