#pragma once

#include <string>

namespace ZOR::OCL {

class Library {
 public:
  /// Whether OpenCL can be used on this machine; if not, reason says what was missing.
  static bool IsOpenCLAvailable(std::string& reason);
  /// Makes the ICD loader load its drivers. Throws LogicalException when the core was not
  /// initialized, OpenCL is not available or the loader fails; no driver at all is no failure.
  static void Initialize();
};

}  // namespace ZOR::OCL
