#pragma once

#include <string>

#include "host/Inspect.h"

namespace gpureport {

/// Drivers that go wrong on demand, for one inspection. A fault that no call met shows nothing of a
/// host's guard, so the end of the rehearsal says that on standard error.
class Rehearsal {
 public:
  /// No faults are no rehearsal. Throws std::invalid_argument for those that can't be read, and
  /// std::runtime_error where the kit's libraries are not installed.
  explicit Rehearsal(const std::string& faults);
  ~Rehearsal();
  Rehearsal(const Rehearsal&) = delete;
  Rehearsal& operator=(const Rehearsal&) = delete;

  /// For the probe alone.
  const decltype(host::Options::environment)& environment() const { return fEnvironment; }

 private:
  std::string fFaults;
  decltype(host::Options::environment) fEnvironment;
  std::string fTrace;  ///< our file of the probe's calls; empty where the user has one
};

}  // namespace gpureport
