#include <gtest/gtest.h>

#include <boost/algorithm/string/replace.hpp>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "linux/AdapterJoin.h"
#include "linux/DRMData.h"
#include "linux/PCINames.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

/// What a reader of the diagnostics would see, and the two verdicts.
std::string describe(const SysfsTree& tree) {
  LogCapture log;
  std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  NameAdapters(tree.root(), adapters);
  const std::string reading = log.take();
  LogUnusedHardware(tree.root(), adapters, {});
  const std::string unused = log.take();
  std::ostringstream text;
  text << reading;
  for (const DRMData& adapter : adapters)
    text << adapter.Desc() << "\n  IsIntegratedGLGPU=" << adapter.IsIntegrated()
         << " GLMemoryMB=" << adapter.GetVideoMemory() << "\n";
  text << unused;
  // A statement's place in its source is no property of the machine.
  std::string described = std::regex_replace(text.str(), std::regex("(^|\n)\\d+ "), "$1");
  for (const char* part : {" VendorID=", " Driver=", " DedicatedVideoMemory=", " Name="})
    boost::replace_all(described, part, std::string("\n ") + part);
  return tree.withoutRoot(described);
}

TEST(RecordedMachines, AdaptersAreAsExpected) {
  int machines = 0;
  for (const auto& machine : std::filesystem::directory_iterator(GPUPROBE_MACHINES)) {
    const std::string described =
        describe(SysfsTree(SysfsTree::Recorded(machine.path().filename())));
    const auto expected = machine.path() / "expected";
    if (std::getenv("UPDATE_EXPECTED")) std::ofstream(expected, std::ios::binary) << described;
    EXPECT_EQ(described, ReadWholeFile(expected)) << machine;
    ++machines;
  }
  EXPECT_GT(machines, 20);
}

}  // namespace
