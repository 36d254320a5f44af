#pragma once

#include <map>
#include <string>

#include "host/Inspection.h"

namespace gpureport::test {

/// A GPU that answers the questions given, by their keys, and nothing else.
host::Gpu makeGpu(protocol::GPUKind kind, int index,
                  const std::map<std::string, host::Answer>& answers);

/// A machine with an OpenGL GPU that answers all and an OpenCL GPU that crashed at CLCompute.
host::Inspection crashedMachine();

}  // namespace gpureport::test
