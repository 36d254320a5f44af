#include "gpureport/Rehearsal.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "gpureport/Columns.h"
#include "gpureport/Platform.h"
#include "rehearsal/Faults.h"

namespace gpureport {

namespace {

namespace fs = std::filesystem;

/// The folder of the libraries that stand in front of the drivers: where the tool is installed, in
/// an unpacked archive, or where it was built. Throws std::runtime_error where it is in none.
std::string rehearsalKit() {
  const fs::path own = fs::u8path(OwnFolder());
  for (const char* place : {"../lib/gpuprobe/rehearsal", "rehearsal", "../rehearsal"}) {
    std::error_code ignored;
    if (fs::is_directory(own / place, ignored)) return fs::canonical(own / place).u8string();
  }
  throw std::runtime_error("--rehearse: its libraries are not installed: no folder " +
                           (own / "../lib/gpuprobe/rehearsal").lexically_normal().u8string());
}

std::string present(const std::string& name) {
  const char* const value = std::getenv(name.c_str());
  return value ? value : "";
}

/// Empty where there is no folder for it.
std::string newTrace() {
  std::error_code error;
  const fs::path folder = fs::temp_directory_path(error);
  std::random_device random;
  const std::uint64_t number = (std::uint64_t{random()} << 32) | random();
  return error ? "" : (folder / ("gpuprobe-rehearsal-" + std::to_string(number))).u8string();
}

}  // namespace

Rehearsal::Rehearsal(const std::string& faults) : fFaults(faults) {
  if (faults.empty()) return;
  const auto variables = rehearsal::EnvironmentOf(faults, rehearsalKit(), present);
  fEnvironment.assign(variables.begin(), variables.end());
  if (present("GPUPROBE_FAULT_TRACE").empty()) fTrace = newTrace();
  if (!fTrace.empty()) fEnvironment.emplace_back("GPUPROBE_FAULT_TRACE", fTrace);
}

Rehearsal::~Rehearsal() {
  if (fTrace.empty()) return;
  std::string calls;
  ReadWholeFile(fTrace, calls);
  std::error_code ignored;
  fs::remove(fs::u8path(fTrace), ignored);
  if (calls.find(" struck\n") == calls.npos && calls.find(" struck\r\n") == calls.npos)
    WriteBytes(StandardStream::Err,
               "gpureport: the fault did not strike: " + Printable(fFaults) + "\n");
}

}  // namespace gpureport
