#include "zor/core/Library.h"

#include <dlfcn.h>

namespace ZOR::Core {

DynamicLibrary::DynamicLibrary(const char* name)
    : fName(name), fHandle(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {
  if (!fHandle) throw LogicalException(dlerror());
}

EntryPoint DynamicLibrary::symbol(const char* name) const {
  return reinterpret_cast<EntryPoint>(dlsym(fHandle, name));
}

}  // namespace ZOR::Core
