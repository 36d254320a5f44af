#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "host/Json.h"

namespace gpureport::test {

/// The bytes of a file below tests/.
inline std::string fileText(const std::string& name) {
  std::ifstream file(GPUPROBE_TESTS + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// gpureport/crashed.json: a machine with an OpenGL GPU that answers nearly all, one that does not,
/// and an OpenCL GPU that crashed twice at CLCompute.
inline host::Inspection crashedMachine() {
  std::string error;
  auto machine = host::FromJson(fileText("gpureport/crashed.json"), error);
  return machine ? *machine : throw std::runtime_error("crashed.json: " + error);
}

}  // namespace gpureport::test
