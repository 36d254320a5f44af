#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/algorithm/string/replace.hpp>
#include <sstream>

#include "linux/DRMData.h"
#include "linux/PCINames.h"
#include "linux/SysfsFile.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

using testing::HasSubstr;

constexpr char kDevice[] =
    "sys/devices/pci0000:00/0000:00:01.1/0000:01:00.0/0000:02:00.0/0000:03:00.0/";

std::string adapterText(const SysfsTree& tree) {
  std::ostringstream text;
  for (const DRMData& adapter : DRMData::GetAllDevices(tree.root())) text << adapter.Desc();
  return text.str();
}

void spoil(const SysfsTree& tree, const std::string& name, const std::string& spoilt) {
  if (spoilt[0] == '>') return tree.link(name, spoilt.substr(1));
  if (spoilt != "|") return tree.write(name, spoilt);
  std::filesystem::remove(tree.root() / name);
  mkfifo((tree.root() / name).c_str(), 0600);
}

TEST(BadInput, OneFieldStaysUnknown) {
  const struct {
    const char* name;
    std::string spoilt;  // ">target" for a link, "|" for a pipe, else the content
    const char* field;
    const char* unknown;
    const char* reason;
  } cases[] = {
      {"vendor", "", "VendorID=4098", "VendorID=0", "empty"},
      {"device", std::string(5000, '1'), "DeviceID=29695", "DeviceID=0", "too long"},
      {"class", std::string("\x01\xff\0", 3), "Class=196608", "Class=0", "not a text"},
      {"revision", "-1\n", "Revision=193", "Revision=0", "not a number"},
      {"boot_vga", "2\n", "Boot=1", "Boot=0", "out of range"},
      {"subsystem_vendor", "|", "SubsystemVendorID=7586", "SubsystemVendorID=0", "not a file"},
      {"subsystem_device", ">subsystem_device", "SubsystemDeviceID=58437", "SubsystemDeviceID=0",
       "symbolic links"},
      // The kernel refuses to read what a process has at address 0.
      {"mem_info_gtt_total", ">/proc/self/mem", "SharedSystemMemory=16644583424",
       "SharedSystemMemory=0", "Input/output error"},
      {"driver", "amdgpu", "Driver=amdgpu", "Driver=", "Invalid argument"},
  };
  const std::string machine = SysfsTree::Recorded("amd-discrete");
  const std::string healthy = adapterText(SysfsTree(machine));
  for (const auto& c : cases) {
    const SysfsTree tree(machine);
    spoil(tree, std::string(kDevice) + c.name, c.spoilt);
    LogCapture log;
    EXPECT_EQ(adapterText(tree), boost::replace_first_copy(healthy, c.field, c.unknown)) << c.name;
    const std::string said = log.take();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_THAT(said, HasSubstr(std::string(kDevice) + c.name + ": "));
    EXPECT_THAT(said, HasSubstr(c.reason));
  }
}

TEST(BadInput, BrokenNodesHideNoOther) {
  const SysfsTree tree(SysfsTree::Recorded("amd-twins"));
  tree.link("sys/class/drm/card1", "card1");
  tree.link("sys/class/drm/renderD128", "nowhere");
  tree.write("sys/class/drm/card9", "");
  LogCapture log;
  const std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  ASSERT_EQ(adapters.size(), 1U);
  EXPECT_EQ(adapters[0].Desc().address, "0000:02:00.0");
  const std::string said = log.take();
  for (const char* node : {"card1", "card9", "renderD128"})
    EXPECT_THAT(said, HasSubstr(std::string(node) + ": no device behind the node"));
}

TEST(BadInput, Numbers) {
  EXPECT_EQ(ParseSysfsNumber("0x1002\n", 0xFFFF), 0x1002U);
  EXPECT_EQ(ParseSysfsNumber("65535", 0xFFFF), 65535U);
  for (const char* text : {"65536", "", "0x", " 1", "1 ", "+1", "0x-1", "1\n\n", "1\r\n", "0X10",
                           "99999999999999999999"})
    EXPECT_EQ(ParseSysfsNumber(text, 0xFFFF), std::nullopt) << text;
}

TEST(BadInput, WindowsAndDates) {
  EXPECT_EQ(LargestPrefetchableWindow("0x10 0x1f 0x2200\n0x100 0x1ff 0x200\nrubbish 0x0"), 16U);
  EXPECT_EQ(LargestPrefetchableWindow("0x0 0xffffffffffffffffff 0x2200\n"), 0U);
  EXPECT_EQ(LargestPrefetchableWindow("0x20 0x10 0x2200\n0x10 0x10"), 0U);
  EXPECT_EQ(DateOfNVIDIAVersion("NVRM version: NVIDIA UNIX"), "");
}

TEST(BadInput, NamesWhereverTheFileIsTorn) {
  const struct {
    std::string text;
    const char* name;
    const char* fault;
  } cases[] = {
      {"# list\n1001  Other\n\t73ff  Wrong\n1002  Maker\n\t73FF  Model é\n1003  Next\n",
       "Maker Model é", ""},
      {"1002  Maker\r\n\r\n\t\t1 2  Part\r\n\t73ff  Model\r\n", "Maker Model", ""},
      {"1002  Maker\n\t1234  A\n\t\t73ff 0001  Sub\n\n# x\n\t73ff  Model\n", "Maker Model", ""},
      {"1002  Maker\n\t" + std::string(2000, 'x') + "\n\t73ff  Model\n", "Maker Model",
       "a line is too long"},
      {"1002  Maker\n\t73ff  Mod", "", "cut in the middle of a line"},
      {"1002  \xf6\n1002  Maker\n\t73ff  Model\n", "Maker Model", "a name is no UTF-8 text"},
      {std::string("1002  M\0\n\t73ff  Model\n", 22), "", "a name is no UTF-8 text"},
      {"1002  Maker\n\t73ff  Model\n\t73ff  Other\n1002  Late\n", "Maker Model", ""},
      {"10020  Maker\n\t73ff  Model\n", "", ""},
      {"C 03  Display\n\t73ff  Model\n", "", ""},
  };
  for (const auto& c : cases)
    for (size_t piece : {1, 7, 5000}) {
      PCINames names;
      names.want(0x1002, 0x73FF);
      for (size_t at = 0; at < c.text.size(); at += piece)
        names.feed(std::string_view(c.text).substr(at, piece));
      names.finish();
      EXPECT_EQ(names.name(0x1002, 0x73FF), c.name) << c.text;
      EXPECT_EQ(names.fault(), c.fault) << c.text;
    }
}

TEST(BadInput, NextNameFileWhereTheFirstIsNone) {
  const SysfsTree tree(SysfsTree::Recorded("nvidia"));
  tree.write("usr/share/hwdata/pci.ids", "10de  NVIDIA\n\t2484  GA104\n");
  tree.link("usr/share/misc/pci.ids", "pci.ids");
  LogCapture log;
  std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
  NameAdapters(tree.root(), adapters);
  EXPECT_EQ(adapters.at(0).GetName(), "NVIDIA GA104");
  EXPECT_THAT(log.take(), HasSubstr("usr/share/misc/pci.ids: "));
}

}  // namespace
