#include "tests/gpureport/Samples.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "host/Json.h"

namespace gpureport::test {

std::string fileText(const std::string& name) {
  std::ifstream file(GPUPROBE_TESTS + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

host::Inspection crashedMachine() {
  std::string error;
  auto machine = host::FromJson(fileText("gpureport/crashed.json"), error);
  return machine ? *machine : throw std::runtime_error("crashed.json: " + error);
}

}  // namespace gpureport::test
