#include <gtest/gtest.h>

#include "fuzz/Targets.h"
#include "tests/support/SysfsTree.h"

TEST(FuzzCorpus, EveryPromiseIsKept) {
  const std::pair<const char*, void (*)(const std::string&)> targets[] = {
      {"SysfsNumbers", FuzzSysfsNumbers},
      {"PCIIDs", FuzzPCIIDs},
      {"GLVersions", FuzzGLVersions},
      {"Reports", FuzzReports},
      {"Json", FuzzJson},
      {"Faults", FuzzFaults},
      {"Options", FuzzOptions},
      {"CommandLines", FuzzCommandLines},
      {"Quoting", FuzzQuoting},
  };
  for (const auto& [name, target] : targets) {
    int inputs = 0;
    const std::filesystem::path corpus = GPUPROBE_FUZZ_CORPUS;
    for (const auto& entry : std::filesystem::directory_iterator(corpus / name)) {
      target(ReadWholeFile(entry.path()));
      ++inputs;
    }
    EXPECT_GT(inputs, 5) << name;
  }
}
