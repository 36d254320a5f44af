#pragma once

namespace ZOR::OGL {

class Library {
 public:
  struct InitOptions {};

  /// Opens the system's OpenGL binding. Throws LogicalException with the loader's own words when
  /// it is missing. Repeatable.
  static void Initialize(const InitOptions& options);

  /// Answers what other programs have sent to the windows of this thread's contexts; they wait for
  /// it. To be called whenever some time has passed; does nothing where no window can be sent to.
  static void AnswerMessages();
};

}  // namespace ZOR::OGL
