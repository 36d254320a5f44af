#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace host {

/// Environment of a probe: variables to set or, without a value, to remove.
using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

/// Leaves OpenCL's drivers out one at a time, by the variables of its loader: the means against a
/// driver that takes the probe down before it can be named. Linux with ocl-icd; elsewhere there is
/// nothing to leave out. One thread.
class DriverSelection {
 public:
  /// `environment` is what the probe gets beside the host's own. It may name the folder of drivers.
  explicit DriverSelection(const Environment& environment);
  /// Removes the folder that was made for the probe.
  ~DriverSelection();
  DriverSelection(const DriverSelection&) = delete;
  DriverSelection& operator=(const DriverSelection&) = delete;

  /// The next driver in turn is left out, and that one alone; the one that `suspect` (a library's
  /// path, or empty) belongs to comes before the others. False when each had its turn, or where
  /// there is only one.
  bool leaveNextOut(const std::string& suspect);
  /// What the probe's environment needs for that; nothing before.
  const Environment& environment() const { return fEnvironment; }

 private:
  struct Driver {
    std::string path;     ///< of the file that registers it
    std::string library;  ///< what the file says
    bool hadItsTurn = false;
  };
  std::vector<Driver> fDrivers;
  std::string fFolder;
  Environment fEnvironment;
};

}  // namespace host
