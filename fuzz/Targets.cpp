#include "fuzz/Targets.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

#include "app/GPUSnifferApp.h"
#include "linux/DRMAdapterDesc.h"
#include "linux/GPUImplLinux.h"
#include "linux/PCINames.h"
#include "linux/SysfsFile.h"
#include "zor/ogl/ExtensionManager.h"

namespace {

/// What it would print is counted, and no alarm is set.
struct QuietApp : GPUSnifferApp {
  int lines = 0;

  void DoStdout(const std::string&) override { ++lines; }
  void DoStderr(const std::string&) override { ++lines; }
  bool HandleOption(const std::string& name, const std::string& value) override {
    return name == "timeout" || GPUSnifferApp::HandleOption(name, value);
  }
};

}  // namespace

void promise(bool kept, const char* text) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", text);
  std::abort();
}

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

void FuzzOptions(const std::string& text) {
  ArgumentList arguments;
  std::istringstream words(text);
  for (std::string word; std::getline(words, word);) arguments.push_back(word);
  const ArgumentList given = arguments;
  QuietApp app;
  try {
    app.ParseArgs(arguments);
  } catch (const GPUSnifferApp::UsageException&) {
    return;
  }
  int printing = 0;
  ArgumentList known = given;
  for (const std::string& word : arguments) {
    const auto left = std::find(known.begin(), known.end(), word);
    promise(left != known.end(), "what was not understood was given");
    known.erase(left);
  }
  for (const std::string& word : known) {
    promise(word[0] == '-' && word.find('=') != word.npos, "an option has a value");
    for (const char* option : {"-stdout=", "-stderr=", "-comment="})
      printing += word.rfind(option, 0) == 0;
  }
  promise(app.lines == printing, "a line for each option that prints one");
}
