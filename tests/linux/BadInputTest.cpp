#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/algorithm/string/replace.hpp>

#include "linux/DRMData.h"
#include "linux/PCINames.h"
#include "linux/SysfsFile.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

using testing::HasSubstr;

constexpr char kDevice[] =
    "sys/devices/pci0000:00/0000:00:01.1/0000:01:00.0/0000:02:00.0/0000:03:00.0/";

TEST(BadInput, OneFieldStaysUnknown) {
  const struct {
    const char* name;
    std::string spoilt;  // ">target" for a link, "|" for a pipe, else the content
    std::pair<const char*, const char*> fields;
    const char* reason;
  } cases[] = {
      {"vendor", "", {"VendorID=4098", "VendorID=0"}, "empty"},
      {"device", std::string(5000, '1'), {"DeviceID=29695", "DeviceID=0"}, "too long"},
      {"class", std::string("\x01\xff\0", 3), {"Class=196608", "Class=0"}, "not a text"},
      {"revision", "-1\n", {"Revision=193", "Revision=0"}, "not a number"},
      {"boot_vga", "2\n", {"Boot=1", "Boot=0"}, "out of range"},
      {"subsystem_vendor", "|", {"mVendorID=7586", "mVendorID=0"}, "not a file"},
      {"subsystem_device", ">subsystem_device", {"mDeviceID=58437", "mDeviceID=0"}, "links"},
      // The kernel refuses to read what a process has at address 0.
      {"mem_info_gtt_total", ">/proc/self/mem", {"y=16644583424", "y=0"}, "Input/output error"},
      {"driver", "amdgpu", {"Driver=amdgpu", "Driver="}, "Invalid argument"},
  };
  const auto adapterText = [](const SysfsTree& tree) {
    std::ostringstream text;
    text << DRMData::GetAllDevices(tree.root()).at(0).Desc();
    return text.str();
  };
  const std::string machine = SysfsTree::Recorded("amd-discrete");
  const std::string healthy = adapterText(SysfsTree(machine));
  for (const auto& c : cases) {
    const SysfsTree tree(machine);
    const std::string file = std::string(kDevice) + c.name;
    if (c.spoilt[0] == '>')
      tree.link(file, c.spoilt.substr(1));
    else if (c.spoilt != "|")
      tree.write(file, c.spoilt);
    else if (remove(tree.root() / file))
      mkfifo((tree.root() / file).c_str(), 0600);
    LogCapture log;
    EXPECT_EQ(adapterText(tree),
              boost::replace_first_copy(healthy, c.fields.first, c.fields.second));
    const std::string said = log.take();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_THAT(said, HasSubstr(file + ": "));
    EXPECT_THAT(said, HasSubstr(c.reason));
  }
  // A card whose state can't be read is left asleep, together with its figures of memory.
  const SysfsTree tree(machine);
  tree.write(std::string(kDevice) + "power/runtime_status", "");
  EXPECT_THAT(adapterText(tree), HasSubstr("Asleep=1"));
}

TEST(BadInput, BrokenNodesHideNoOther) {
  const SysfsTree tree(SysfsTree::Recorded("amd-twins"));
  tree.link("sys/class/drm/card1", "card1");
  tree.link("sys/class/drm/renderD128", "nowhere");
  tree.write("sys/class/drm/card9", "");
  LogCapture log;
  EXPECT_EQ(DRMData::GetAllDevices(tree.root()).at(0).Desc().address, "0000:02:00.0");
  const std::string said = log.take();
  for (const char* node : {"card1", "card9", "renderD128"})
    EXPECT_THAT(said, HasSubstr(std::string(node) + ": no device behind the node"));
}

TEST(BadInput, NumbersWindowsAndDates) {
  EXPECT_EQ(ParseSysfsNumber("0x1002\n", 0xFFFF), 0x1002U);
  EXPECT_EQ(ParseSysfsNumber("65535", 0xFFFF), 65535U);
  for (const char* text : {"65536", "", "0x", " 1", "1 ", "+1", "0x-1", "1\n\n", "1\r\n", "0X10",
                           "99999999999999999999"})
    EXPECT_EQ(ParseSysfsNumber(text, 0xFFFF), std::nullopt) << text;
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
      {"# a\n1001  A\n\t73ff  B\n1002  Maker\n\t73ff  é\n1003  C\n\t73ff  D\n", "Maker é", ""},
      {"1002  Maker\r\n\r\n\t\t1 2  Part\r\n\t73ff  Model\r\n", "Maker Model", ""},
      {"1002  Maker\n\t1234  A\n\t\t73ff 0001  Sub\n\n# x\n\t73ff  Model\n", "Maker Model", ""},
      {"1002  Maker\n\t73ff  " + std::string(2000, 'x') + "\n", "", "a name is too long"},
      {"1002  Maker\n\t73ff  Mod", "", "cut in the middle of a line"},
      {"1002  \xf6\n\t73ff  Model\n", "", "a name is no UTF-8 text"},
      {std::string("1002  M\0\n\t73ff  Model\n", 22), "", "a name is no UTF-8 text"},
      {"1002  Maker\n1003  C\n\t73ff  D\n", "", ""},
      {"10020  Maker\n\t1002  X\nC 03  Display\n\t73ff  Model\n", "", ""},
      {"", "", ""}};
  for (const auto& c : cases) {
    PCINames names(c.text);
    EXPECT_EQ(names.name(0x1002, 0x73FF), c.name) << c.text;
    EXPECT_EQ(names.fault(), c.fault) << c.text;
  }
  // The next file where the first is none.
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
