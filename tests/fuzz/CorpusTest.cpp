#include <gtest/gtest.h>

#include <filesystem>

#include "fuzz/Targets.h"
#include "tests/support/SysfsTree.h"

namespace {

TEST(FuzzCorpus, EveryPromiseIsKept) {
  const struct {
    const char* corpus;
    int (*target)(const uint8_t*, size_t);
  } cases[] = {
      {"SysfsNumbers", FuzzSysfsNumbers},
      {"PCIIDs", FuzzPCIIDs},
      {"GLVersions", FuzzGLVersions},
  };
  for (const auto& c : cases) {
    int inputs = 0;
    const std::filesystem::path folder = std::filesystem::path(GPUPROBE_FUZZ_CORPUS) / c.corpus;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      SCOPED_TRACE(entry.path());
      const std::string input = ReadWholeFile(entry.path());
      EXPECT_EQ(c.target(reinterpret_cast<const uint8_t*>(input.data()), input.size()), 0);
      ++inputs;
    }
    EXPECT_GT(inputs, 5);
  }
}

}  // namespace
