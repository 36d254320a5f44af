#include "ocl/EntryPoints.h"

#include <string>

#include "core/DynamicLibrary.h"
#include "core/Exceptions.h"

namespace ZOR::OCL {

EntryPoints LoadEntryPoints() {
  const Core::DynamicLibrary library(kLoaderLibrary);
  EntryPoints table;
#define ZOR_CL_LOAD(name)          \
  library.load(#name, table.name); \
  if (!table.name) throw LogicalException(std::string(kLoaderLibrary) + " has no " #name);
  ZOR_CL_ENTRY_POINTS(ZOR_CL_LOAD)
#undef ZOR_CL_LOAD
  return table;
}

}  // namespace ZOR::OCL
