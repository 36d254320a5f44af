#pragma once

#include <string>

namespace ZOR::OCL {

class Library {
 public:
  /// Whether OpenCL can be used on this machine; if not, reason says what was missing.
  static bool IsOpenCLAvailable(std::string& reason);
  /// Throws LogicalException when OpenCL is not available.
  static void Initialize();
};

}  // namespace ZOR::OCL
