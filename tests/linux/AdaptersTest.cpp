#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "linux/AdapterJoin.h"
#include "linux/DRMAdapterDesc.h"
#include "linux/DRMData.h"
#include "linux/PCINames.h"
#include "linux/SysfsFile.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

std::string joins(const char* machine, const std::vector<std::string>& deviceNames) {
  const SysfsTree tree(SysfsTree::Recorded(machine));
  std::vector<JoinDevice> devices;
  // A star: the driver is NVIDIA's own.
  for (const std::string& name : deviceNames)
    devices.push_back({name.substr(name[0] == '*'), name[0] == '*'});
  std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  if (NeedsAdaptersWithoutNodes(devices)) DRMData::AddDevicesWithoutNodes(tree.root(), adapters);
  std::string text;
  for (const AdapterJoin& join : JoinDevices(devices, adapters))
    text += std::to_string(join.device) + "=" +
            (join.adapter ? join.adapter->Desc().address : "none") + " ";
  return text;
}

TEST(AdapterJoin, ByNodeInTheOrderOfTheAdapters) {
  const struct {
    const char* machine;
    std::vector<std::string> devices;
    const char* joins;
  } cases[] = {
      // Two makers' libraries know the same card, one by its render node.
      {"intel-nvidia-hybrid",
       {"/dev/dri/card0", "/dev/dri/card1", "/dev/dri/renderD128"},
       "1=0000:00:02.0 0=0000:01:00.0 "},
      {"amd-twins", {"/dev/dri/card1", "/dev/dri/card3"}, "1=0000:02:00.0 0=0000:01:00.0 "},
      {"render-only",
       {"/dev/dri/renderD135", "/dev/dri/renderD128"},
       "1=0000:c1:00.0 0=10000:e1:00.0 "},
      {"soc", {"/dev/dri/renderD128"}, "0=fec00000.v3d "},
      {"nvidia", {"default", "/dev/dri/card0", "/dev/dri/card"}, "1=0000:01:00.0 0=none 2=none "},
      // By elimination, in whatever order the libraries name the card.
      {"nvidia-no-drm", {"*"}, "0=0000:01:00.0 "},
      {"nvidia-no-drm", {"*", "*"}, "0=none 1=none "},
      {"nvidia", {"*", "/dev/dri/card0"}, "0=0000:01:00.0 "},
      {"nvidia", {"/dev/dri/card0", "*"}, "0=0000:01:00.0 "},
      {"nvidia-twins", {"*", "*/dev/dri/card1"}, "0=0000:01:00.0 1=0000:02:00.0 "},
      // Another driver has the card.
      {"intel-nvidia-hybrid", {"*", "/dev/dri/card1"}, "1=0000:00:02.0 0=none "},
  };
  for (const auto& c : cases) EXPECT_EQ(joins(c.machine, c.devices), c.joins) << c.machine;
}

TEST(AdapterJoin, WhyHardwareIsNotUsed) {
  DRMAdapterDesc desc;
  desc.driver = "i915";
  desc.nodes = {"card0", "renderD128"};
  const std::vector<FailedDevice> failed = {{"", "other"}, {"/dev/dri/card0", "eglInitialize: X"}};
  // A user who isn't at the screen may not use the card node; that is no reason.
  const auto reason = [&](int card, int render, const std::vector<FailedDevice>& failures) {
    return UnusedReason(desc, {{"card0", card}, {"renderD128", render}}, failures);
  };
  EXPECT_EQ(reason(0, 0, failed), "eglInitialize: X");
  EXPECT_EQ(reason(EACCES, 0, {}), "EGL lists no device for it");
  EXPECT_EQ(reason(EACCES, EACCES, failed), "renderD128: Permission denied, eglInitialize: X");
  EXPECT_EQ(reason(ENOENT, ENOENT, {}), "renderD128: No such file or directory");
  desc.nodes.pop_back();
  EXPECT_EQ(UnusedReason(desc, {{"card0", EACCES}}, failed),
            "it has no render node, eglInitialize: X");
}

/// What a reader of the diagnostics would see, and the two verdicts.
std::string describe(const SysfsTree& tree) {
  LogCapture log;
  std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  NameAdapters(tree.root(), adapters);
  std::ostringstream text;
  text << std::exchange(log.text, "");
  LogUnusedHardware(tree.root(), adapters, {}, {});
  const std::string unused = log.text;
  for (const DRMData& adapter : adapters)
    text << adapter.Desc() << "\n  IsIntegratedGLGPU=" << adapter.IsIntegrated()
         << " GLMemoryMB=" << adapter.GetVideoMemory() << "\n";
  std::string described = text.str() + unused;
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

// What else can be wrong with files has the recorded machine "spoilt".
TEST(BadInput, OnlyShortFilesAreRead) {
  const SysfsTree tree;
  tree.write("empty", "");
  tree.write("page", std::string(4096, '1'));
  tree.write("longer", std::string(4097, '1'));
  mkfifo((tree.root() / "pipe").c_str(), 0600);
  LogCapture log;
  for (const char* file : {"empty", "longer", "missing", "page", "pipe"})
    EXPECT_EQ(ReadSysfsText(tree.root() / file).has_value(), std::string(file) == "page") << file;
  EXPECT_EQ(tree.withoutRoot(log.text), "/empty: empty\n/longer: too long\n/pipe: not a file\n");
}

TEST(BadInput, NumbersWindowsAndDates) {
  EXPECT_EQ(ParseSysfsNumber("0x1002\n", 0xFFFF), 0x1002U);
  EXPECT_EQ(ParseSysfsNumber("65535", 0xFFFF), 65535U);
  for (const char* text : {"65536", "", "0x", " 1", "1 ", "+1", "0x-1", "1\n\n", "1\r\n", "0X10",
                           "99999999999999999999"})
    EXPECT_EQ(ParseSysfsNumber(text, 0xFFFF), std::nullopt) << text;
  EXPECT_EQ(LargestPrefetchableWindow("0x10 0x1f 0x2200\n0x100 0x1ff 0x200\nrubbish 0x0"), 16U);
  EXPECT_EQ(LargestPrefetchableWindow("0x0 0xffffffffffffffffff 0x2200\n"), 0U);
  EXPECT_EQ(DateOfNVIDIAVersion("NVRM version: NVIDIA UNIX"), "");
}

TEST(BadInput, NamesWhereverTheFileIsTorn) {
  const struct {
    std::string text;
    const char* name;
    const char* fault;
  } cases[] = {
      {"# a\n1001  A\n\t73ff  B\n1002  Maker\n\t73ff  é\n1003  C\n\t73ff  D\n", "Maker é", ""},
      {"1002  Maker\r\n\r\n\t\t1 2  Part\r\n\t73ff  Model\r\n", "Maker Model", ""},
      {"1002  Maker\n\t1234  A\n\t\t73ff 0001  Sub\n\n# x\n\t73ff  Model\n", "Maker Model", ""},
      {"1002  Maker\n\t73ff  " + std::string(2000, 'x') + "\n", "", "a name is too long"},
      {"1002  Maker\n\t73ff  Mod", "", "cut in the middle of a line"},
      {"1002  \xf6\n\t73ff  Model\n", "", "a name is no UTF-8 text"},
      {std::string("1002  M\0\n\t73ff  Model\n", 22), "", "a name is no UTF-8 text"},
      {"10020  Maker\n\t1002  X\nC 03  Display\n\t73ff  Model\n", "", ""},
      {"", "", ""}};
  for (const auto& c : cases) {
    PCINames names(c.text);
    EXPECT_EQ(names.Name(0x1002, 0x73FF), c.name) << c.text;
    EXPECT_EQ(names.Fault(), c.fault) << c.text;
  }
}

}  // namespace
