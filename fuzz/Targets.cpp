#include "fuzz/Targets.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/Inspect.h"
#include "host/ReportReader.h"
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
  const std::string name = PCINames(text).name(0x1002, 0x73FF);
  promise(name.find_first_of("\n\t") == std::string::npos, "a name is of one line");
  promise(name.empty() || text.find("1002  ") != text.npos, "a name has its number");
  // Whatever follows the last line end changes no name.
  promise(PCINames(text.substr(0, text.rfind('\n') + 1)).name(0x1002, 0x73FF) == name,
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

void FuzzReports(const std::string& text) {
  struct Read {
    std::string lines;
    std::string rest;
  };
  const auto readIn = [&text](std::size_t piece) {
    Read read;
    host::ReportReader reader([&read](const host::ReportLine& line) {
      read.lines += std::to_string(static_cast<int>(line.kind));
      read.lines.append(line.name).append("=").append(line.text).append("\n");
      promise(!line.question || (line.gpu >= 0 && line.kind == host::ReportLine::Kind::OfGpu),
              "an answer is of a GPU");
    });
    for (std::size_t at = 0; at < text.size(); at += piece) reader.feed(text.substr(at, piece));
    read.rest = reader.rest();
    return read;
  };
  const Read whole = readIn(text.size() + 1), pieces = readIn(7);
  promise(whole.lines == pieces.lines && whole.rest == pieces.rest, "pieces change nothing");
  promise(whole.rest.find('\n') == std::string::npos, "a torn line is one line");

  const host::Inspection result = host::FromReport(text);
  const bool torn = result.status == host::Status::Torn;
  promise(torn || text.find("snifferEnd=") != text.npos, "without its end a report is torn");
  for (const host::Api* api : {&result.openGL, &result.openCL})
    for (const host::Gpu& gpu : api->gpus)
      for (const host::Answer& answer : gpu.answers) {
        const auto* value = std::get_if<host::Value>(&answer);
        const auto* number = value ? std::get_if<double>(value) : nullptr;
        promise(!number || std::isfinite(*number), "a number is finite");
        promise(value || torn || answer != host::Answer(host::Reason::NotReached),
                "a whole report reaches all");
      }
}
