// A host that takes the report as types, and writes it as JSON: types PROBE
#include <iostream>

#include "host/Fields.h"
#include "host/Inspect.h"
#include "host/Json.h"

int main(int argc, char** argv) {
  host::Options options;
  if (argc > 1) options.probe = argv[1];
  const host::Inspection inspection = host::Inspect(nkutil::systemLauncher(), options);
  for (const host::Gpu& gpu : inspection.openGL.gpus)
    std::cerr << gpu.tag() << ": " << host::FieldValue<std::string>(gpu, "name").value_or("?")
              << '\n';
  std::cout << host::ToJson(inspection);
}
