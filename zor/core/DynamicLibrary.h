#pragma once

namespace ZOR::Core {

/// A function of unknown type, as the loaders and the drivers hand them out.
using EntryPoint = void (*)();

/// A shared library opened at run time. It is never unloaded: drivers leave threads, exit handlers
/// and thread-local destructors behind that must not outlive their code.
class DynamicLibrary {
 public:
  /// Opens by the name that the system's loader resolves. Throws LogicalException with the
  /// loader's own text.
  explicit DynamicLibrary(const char* name);

  /// Null when the library has no such symbol.
  EntryPoint symbol(const char* name) const;

  /// Sets function to the symbol of that name, or to null. The caller answers for the type.
  template <class Function>
  void load(const char* name, Function*& function) const {
    function = reinterpret_cast<Function*>(symbol(name));
  }

 private:
  void* fHandle;
};

}  // namespace ZOR::Core
