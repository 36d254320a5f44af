#include "rehearsal/Fronts.h"
#include "zor/ocl/Library.h"

namespace rehearsal {

const char kListSeparator = ';';

/// Nothing stands in front of OpenGL here.
const std::vector<Front>& Fronts() {
#define FRONT_NAME(name) #name,
  static const std::vector<Front> fronts{
      {"OPENCL_LAYERS", "fault.dll", {"clLoad", ZOR_CL_ENTRY_POINTS(FRONT_NAME)}}};
#undef FRONT_NAME
  return fronts;
}

}  // namespace rehearsal
