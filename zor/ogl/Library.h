#pragma once

namespace ZOR::OGL {

class Library {
 public:
  struct InitOptions {};

  /// Opens the system's OpenGL binding. Throws LogicalException with the loader's own words when
  /// it is missing. Repeatable.
  static void Initialize(const InitOptions& options);
};

}  // namespace ZOR::OGL
