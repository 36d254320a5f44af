#pragma once

#include <string>

#include "host/Inspection.h"

namespace gpureport::test {

/// The bytes of a file below tests/.
std::string fileText(const std::string& name);

/// gpureport/crashed.json: a machine with an OpenGL GPU that answers nearly all, one that does not,
/// and an OpenCL GPU that crashed twice at CLCompute.
host::Inspection crashedMachine();

}  // namespace gpureport::test
