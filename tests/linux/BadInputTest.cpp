#include <gmock/gmock.h>
#include <sys/stat.h>

#include <boost/algorithm/string/replace.hpp>
#include <sstream>

#include "DRMData.h"
#include "LogCapture.h"
#include "PCINames.h"
#include "SysfsFile.h"
#include "SysfsTree.h"

namespace {

using testing::HasSubstr;

constexpr char kDevice[] =
    "sys/devices/pci0000:00/0000:00:01.1/0000:01:00.0/0000:02:00.0/0000:03:00.0/";

std::string adapterText(const SysfsTree& tree) {
  std::ostringstream text;
  for (const DRMData& adapter : DRMData::GetAllDevices(tree.root())) text << adapter.Desc();
  return text.str();
}

TEST(BadInput, OneFieldStaysUnknown) {
  const auto file = [](const std::string& content) {
    return [content](const SysfsTree& tree, const std::string& name) { tree.write(name, content); };
  };
  const auto link = [](const std::string& target) {
    return [target](const SysfsTree& tree, const std::string& name) { tree.link(name, target); };
  };
  const auto pipe = [](const SysfsTree& tree, const std::string& name) {
    std::filesystem::remove(tree.root() / name);
    mkfifo((tree.root() / name).c_str(), 0600);
  };
  const auto folder = [](const SysfsTree& tree, const std::string& name) {
    std::filesystem::remove(tree.root() / name);
    tree.write(name + "/none", "");
  };
  const struct {
    const char* name;
    std::function<void(const SysfsTree&, const std::string&)> spoil;
    const char* field;
    const char* unknown;
    const char* reason;
  } cases[] = {
      {"vendor", file(""), "VendorID=4098", "VendorID=0", "empty"},
      {"vendor", file("0x10000\n"), "VendorID=4098", "VendorID=0", "out of range"},
      {"device", file("0x73fg\n"), "DeviceID=29695", "DeviceID=0", "not a number"},
      {"device", file(std::string(5000, '1')), "DeviceID=29695", "DeviceID=0", "too long"},
      {"class", file(std::string("\x01\xff\0", 3)), "Class=196608", "Class=0", "not a text"},
      {"revision", file("-1\n"), "Revision=193", "Revision=0", "not a number"},
      {"boot_vga", file("2\n"), "Boot=1", "Boot=0", "out of range"},
      {"boot_vga", folder, "Boot=1", "Boot=0", "not a file"},
      {"subsystem_vendor", pipe, "SubsystemVendorID=7586", "SubsystemVendorID=0", "not a file"},
      {"subsystem_device", link("subsystem_device"), "SubsystemDeviceID=58437",
       "SubsystemDeviceID=0", "symbolic links"},
      // The kernel refuses to read what a process has at address 0.
      {"mem_info_gtt_total", link("/proc/self/mem"), "SharedSystemMemory=16644583424",
       "SharedSystemMemory=0", "Input/output error"},
      {"mem_info_gtt_total", file("18446744073709551616\n"), "SharedSystemMemory=16644583424",
       "SharedSystemMemory=0", "out of range"},
      {"driver", file("amdgpu"), "Driver=amdgpu", "Driver=", "Invalid argument"},
      {"power/runtime_status", link("runtime_status"),
       "DedicatedVideoMemory=8573157376 SharedSystemMemory=16644583424 OwnMemoryWindow=0",
       "DedicatedVideoMemory=0 SharedSystemMemory=0 OwnMemoryWindow=8589934592", "symbolic links"},
  };
  const std::string machine = SysfsTree::Recorded("amd-discrete");
  const std::string healthy = adapterText(SysfsTree(machine));
  for (const auto& c : cases) {
    const SysfsTree tree(machine);
    c.spoil(tree, std::string(kDevice) + c.name);
    LogCapture log;
    std::string expected = boost::replace_first_copy(healthy, c.field, c.unknown);
    if (std::string(c.name) == "power/runtime_status")
      boost::replace_first(expected, "Asleep=0", "Asleep=1");
    EXPECT_EQ(adapterText(tree), expected) << c.name;
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
  const std::pair<const char*, uint64_t> good[] = {
      {"0x1002\n", 0x1002}, {"65535", 65535}, {"0", 0}, {"0x0001", 1}};
  for (const auto& [text, number] : good) EXPECT_EQ(ParseSysfsNumber(text, 0xFFFF), number);
  for (const char* text : {"65536", "0x10000", "", "\n", "0x", "0x\n", " 1", "1 ", "+1", "-1",
                           "0x-1", "1\n\n", "1\r\n", "0X10", "1e3", "99999999999999999999"})
    EXPECT_EQ(ParseSysfsNumber(text, 0xFFFF), std::nullopt) << text;
}

TEST(BadInput, WindowsAndDates) {
  EXPECT_EQ(LargestPrefetchableWindow("0x10 0x1f 0x2200\n0x100 0x1ff 0x200\nrubbish 0x0"), 16U);
  EXPECT_EQ(LargestPrefetchableWindow("0x0 0xffffffffffffffffff 0x2200\n"), 0U);
  EXPECT_EQ(LargestPrefetchableWindow("0x20 0x10 0x2200\n0x10 0x10"), 0U);
  EXPECT_EQ(
      DateOfNVIDIAVersion("NVRM version: NVIDIA UNIX Open Kernel Module for x86_64  560.35.03 "
                          " Release Build  (archlinux-builder@)  Thu Aug 29 18:07:04 UTC 2024"
                          "\nGCC version: Mon "),
      "Thu Aug 29 18:07:04 UTC 2024");
  EXPECT_EQ(DateOfNVIDIAVersion("NVRM version: NVIDIA UNIX"), "");
}

struct NamesCase {
  std::string text;
  const char* name;
  const char* fault;
};

TEST(BadInput, NamesWhereverTheFileIsTorn) {
  const std::string makers = "# list\n1001  Other\n\t73ff  Wrong\n1002  Maker\n\t73FF  Model é\n";
  const std::string longLine(2000, 'x');
  const NamesCase cases[] = {
      {makers + "1003  Next\n", "Maker Model é", ""},
      {"1002  Maker\r\n\t73ff  Model\r\n", "Maker Model", ""},
      {"1002  Maker\n\t1234  A\n\t\t73ff 0001  Sub\n\n# x\n\t73ff  Model\n", "Maker Model", ""},
      {"1002  Maker\n\t" + longLine + "\n\t73ff  Model\n", "Maker Model", "a line is too long"},
      {"1002  Maker\n\t73ff  Mod", "", "cut in the middle of a line"},
      {"1002  Maker\n\t73ff  M\xf6"
       "del\n",
       "", "a name is no UTF-8 text"},
      {"1002  M\xe2\x82\n\t73ff  Model\n", "", "a name is no UTF-8 text"},
      {std::string("1002  M\0\n\t73ff  Model\n", 22), "", "a name is no UTF-8 text"},
      {"1002  \xf6\n1002  Maker\n\t73ff  Model\n", "Maker Model", "a name is no UTF-8 text"},
      {"1002 Maker\n\t73ff  Model\n", "", ""},
      {"10020  Maker\n\t73ff  Model\n", "", ""},
      {"C 03  Display\n\t73ff  Model\n", "", ""},
      {"\t73ff  Model\n", "", ""},
      {"", "", ""},
  };
  for (const NamesCase& c : cases)
    for (size_t piece : {1, 7, 5000}) {
      PCINames names;
      names.want(0x1002, 0x73FF);
      for (size_t at = 0; at < c.text.size(); at += piece)
        names.feed(std::string_view(c.text).substr(at, piece));
      names.finish();
      EXPECT_EQ(names.name(0x1002, 0x73FF), c.name) << c.text;
      EXPECT_EQ(names.fault(), c.fault) << c.text;
      EXPECT_EQ(names.name(0x1002, 1) + names.name(1, 0x73FF), "");
    }
}

TEST(BadInput, NextNameFileWhereTheFirstIsNone) {
  const std::string misc = "usr/share/misc/pci.ids";
  for (const bool loop : {true, false}) {
    const SysfsTree tree(SysfsTree::Recorded("nvidia"));
    tree.write("usr/share/hwdata/pci.ids", "10de  NVIDIA\n\t2484  GA104\n");
    if (loop) tree.link(misc, "pci.ids");
    LogCapture log;
    std::vector<DRMData> adapters = DRMData::GetAllDevices(tree.root());
    NameAdapters(tree.root(), adapters);
    EXPECT_EQ(adapters.at(0).GetName(), "NVIDIA GA104");
    EXPECT_EQ(log.take().find(misc + ": ") != std::string::npos, loop);
  }
}

}  // namespace
