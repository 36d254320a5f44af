#pragma once

#include <string>

#include "zor/core/Exceptions.h"

namespace ZOR::Core {

/// The library as a whole. All of it is used on one thread, unless a class says otherwise.
class Library {
 public:
  /// First of the library's stages; the others throw LogicalException without it. Repeatable; this
  /// one neither fails nor loads anything.
  static void Initialize() { fInitialized = true; }
  /// For the lifetime of the process: there is no way back.
  static bool IsInitialized() { return fInitialized; }

 private:
  inline static bool fInitialized = false;
};

/// A function of unknown type, as the loaders and the drivers hand them out.
using EntryPoint = void (*)();

/// A shared library opened at run time. It is never unloaded: drivers leave threads, exit handlers
/// and thread-local destructors behind that must not outlive their code.
class DynamicLibrary {
 public:
  /// Opens by the name that the system's loader resolves, which has to stay where it is. Throws
  /// LogicalException with the loader's own text.
  explicit DynamicLibrary(const char* name);

  /// Null when the library has no such symbol. Good for the lifetime of the process.
  EntryPoint symbol(const char* name) const;

  /// Sets function to the symbol of that name, or to null. The caller answers for the type.
  template <class Function>
  void load(const char* name, Function*& function) const {
    function = reinterpret_cast<Function*>(symbol(name));
  }

  /// The same; throws LogicalException "library has no name" in place of null.
  template <class Function>
  void require(const char* name, Function*& function) const {
    load(name, function);
    if (!function) throw LogicalException(std::string(fName) + " has no " + name);
  }

 private:
  const char* fName;
  void* fHandle;
};

/// A driver's text, in which null stands for no text.
inline const char* TextOrEmpty(const char* text) {
  return text ? text : "";
}

}  // namespace ZOR::Core
