#pragma once

#include <functional>

namespace ZOR::OGL {

struct ContextState;

/// Notes the current context and, when restore is set, puts it back at the end of the scope.
class ScopedContextWrapper {
 public:
  explicit ScopedContextWrapper(bool restore);
  ~ScopedContextWrapper();
  ScopedContextWrapper(const ScopedContextWrapper&) = delete;
  ScopedContextWrapper& operator=(const ScopedContextWrapper&) = delete;

 private:
  std::function<void()> fRestore;
  ContextState* fState;
};

}  // namespace ZOR::OGL
