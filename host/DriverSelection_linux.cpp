#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/DriverSelection.h"

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr char kVariable[] = "OCL_ICD_VENDORS";

/// Where ocl-icd looks for its drivers; a single file where the variable names one.
std::string vendors(const Environment& environment) {
  std::optional<std::string> value;
  if (const char* inherited = std::getenv(kVariable)) value = inherited;
  for (const auto& [name, own] : environment)
    if (name == kVariable) value = own;
  return value.value_or("/etc/OpenCL/vendors");
}

/// The driver is of this library: "libpocl.so.2" is "/usr/lib/libpocl.so.2.10.0".
bool isOf(const std::string& registered, const std::string& library) {
  const std::string name = fs::path(registered).filename();
  return !name.empty() && fs::path(library).filename().string().compare(0, name.size(), name) == 0;
}

}  // namespace

DriverSelection::DriverSelection(const Environment& environment) {
  std::error_code error;
  for (fs::directory_iterator entry(vendors(environment), error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() != ".icd") continue;
    Driver driver;
    driver.path = fs::absolute(entry->path(), error);
    std::getline(std::ifstream(driver.path) >> std::ws, driver.library);
    fDrivers.push_back(std::move(driver));
  }
  std::sort(fDrivers.begin(), fDrivers.end(),
            [](const Driver& a, const Driver& b) { return a.path < b.path; });
}

DriverSelection::~DriverSelection() {
  std::error_code error;
  if (!fFolder.empty()) fs::remove_all(fFolder, error);
}

bool DriverSelection::leaveNextOut(const std::string& suspect) {
  const auto next = [&](bool suspected) {
    return std::find_if(fDrivers.begin(), fDrivers.end(), [&](const Driver& driver) {
      return !driver.hadItsTurn && (!suspected || isOf(driver.library, suspect));
    });
  };
  auto left = next(true);
  if (left == fDrivers.end()) left = next(false);
  if (left == fDrivers.end() || fDrivers.size() < 2) return false;
  left->hadItsTurn = true;

  std::error_code error;
  if (fFolder.empty()) {
    std::string folder = fs::temp_directory_path(error) / "gpuprobe-XXXXXX";
    if (error || !mkdtemp(folder.data())) return false;
    fFolder = folder;
    fEnvironment = {{kVariable, fFolder}};
  }
  for (const Driver& driver : fDrivers) {
    const fs::path link = fs::path(fFolder) / fs::path(driver.path).filename();
    fs::remove(link, error);
    if (driver.path != left->path) fs::create_symlink(driver.path, link, error);
    if (error) return false;
  }
  return true;
}

}  // namespace host
