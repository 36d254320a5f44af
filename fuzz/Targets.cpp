#include "fuzz/Targets.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "linux/DRMAdapterDesc.h"
#include "linux/GPUImplLinux.h"
#include "linux/PCINames.h"
#include "linux/SysfsFile.h"
#include "zor/ogl/ExtensionManager.h"

namespace {

/// Unlike assert, names the promise in words.
void promise(bool kept, const char* text) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", text);
  std::abort();
}

}  // namespace

void FuzzGLVersions(const std::string& text) {
  const std::string driver = DriverVersionFromGLVersion(text);
  promise(driver.size() <= text.size() && text.substr(text.size() - driver.size()) == driver,
          "the driver's version ends the text");
  promise(driver.empty() || driver[0] != ' ', "the driver's version begins at once");
  const ZOR::OGL::GLVersion version = ZOR::OGL::ParseGLVersion(text);
  const bool number = !text.empty() && text[0] >= '0' && text[0] <= '9';
  promise(number || (!version.major && !version.minor && !version.release),
          "without a number there is no version");
}

void FuzzPCIIDs(const std::string& text) {
  const std::string name = PCINames(text).Name(0x1002, 0x73FF);
  promise(name.find_first_of("\n\t") == std::string::npos, "a name is of one line");
  promise(name.empty() || text.find("1002  ") != text.npos, "a name has its number");
  // Whatever follows the last line end changes no name.
  promise(PCINames(text.substr(0, text.rfind('\n') + 1)).Name(0x1002, 0x73FF) == name,
          "a cut line is not read");
}

void FuzzSysfsNumbers(const std::string& text) {
  constexpr uint64_t kAll = UINT64_MAX;
  for (const uint64_t limit : {uint64_t{0xFF}, uint64_t{0xFFFF}, kAll}) {
    const std::optional<uint64_t> number = ParseSysfsNumber(text, limit);
    if (!number) continue;
    promise(*number <= limit, "a number is within its limit");
    promise(ParseSysfsNumber(std::to_string(*number) + '\n', limit) == number,
            "a number is read back");
    promise(ParseSysfsNumber(text, kAll) == number, "the limit changes no number");
  }
  promise(!ParseSysfsNumber(' ' + text, kAll), "nothing stands before a number");
  LargestPrefetchableWindow(text);
  promise(text.find(DateOfNVIDIAVersion(text)) <= text.find('\n'), "a date is in the first line");
}
