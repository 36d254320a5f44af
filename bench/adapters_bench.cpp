#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "linux/DRMData.h"
#include "linux/PCINames.h"
#include "tests/support/SysfsTree.h"

namespace {

/// As many lines and bytes as the file of today has: the cards' maker is in the first third.
std::string makePCIIDs() {
  std::string text;
  char line[80];
  for (unsigned vendor = 0; vendor < 2400; ++vendor) {
    std::snprintf(line, sizeof line, "%04x  Maker Number %u, Incorporated\n", vendor * 2, vendor);
    text += vendor == 800 ? "1002  Advanced Micro Devices, Inc.\n\t73ff  Navi 23\n" : line;
    for (unsigned device = 0; device < 7; ++device) {
      std::snprintf(line, sizeof line, "\t%04x  Adapter of Model %u [Series]\n", device, device);
      text += line;
      std::snprintf(line, sizeof line, "\t\t%04x %04x  Board of Model %u\n", vendor, device,
                    device);
      text += line;
    }
  }
  return text;
}

const SysfsTree& fourCards() {
  static const SysfsTree tree(SysfsTree::Recorded("four-cards"));
  static const bool named = (tree.write("usr/share/misc/pci.ids", makePCIIDs()), true);
  benchmark::DoNotOptimize(named);
  return tree;
}

void FourCards(benchmark::State& state) {
  const SysfsTree& tree = fourCards();
  for (auto _ : state) benchmark::DoNotOptimize(DRMData::GetAllDevices(tree.root()));
}
BENCHMARK(FourCards);

void FourCardsNames(benchmark::State& state) {
  const SysfsTree& tree = fourCards();
  std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  for (auto _ : state) NameAdapters(tree.root(), adapters);
  if (adapters.at(0).GetName() != "Advanced Micro Devices, Inc. Navi 23")
    state.SkipWithError("the cards got no names");
}
BENCHMARK(FourCardsNames);

}  // namespace
