#pragma once

namespace ZOR::Core {

class Library {
 public:
  /// First of the library's stages; the others throw LogicalException without it. Repeatable.
  static void Initialize();
  static bool IsInitialized();
};

}  // namespace ZOR::Core
