#include "linux/AdapterJoin.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "linux/DRMData.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SysfsTree.h"

namespace {

std::string joined(const char* machine, const std::vector<std::string>& deviceNames) {
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
      {"amd-twins", {"/dev/dri/card1"}, "0=0000:01:00.0 "},
      {"render-only",
       {"/dev/dri/renderD135", "/dev/dri/renderD128"},
       "1=0000:c1:00.0 0=10000:e1:00.0 "},
      {"soc", {"/dev/dri/renderD128"}, "0=fec00000.v3d "},
      {"nvidia", {"default", "/dev/dri/card0", "/dev/dri/card"}, "1=0000:01:00.0 0=none 2=none "},
      // By elimination, in whatever order the libraries name the card.
      {"nvidia-no-drm", {"*"}, "0=0000:01:00.0 "},
      {"nvidia-no-drm", {"*", "*"}, "0=none 1=none "},
      {"nvidia-no-drm", {"default"}, "0=none "},
      {"nvidia", {"*", "/dev/dri/card0"}, "0=0000:01:00.0 "},
      {"nvidia", {"/dev/dri/card0", "*"}, "0=0000:01:00.0 "},
      {"nvidia-twins", {"*"}, "0=none "},
      {"nvidia-twins", {"*", "*/dev/dri/card1"}, "0=0000:01:00.0 1=0000:02:00.0 "},
      // Another driver has the card.
      {"intel-nvidia-hybrid", {"*", "/dev/dri/card1"}, "1=0000:00:02.0 0=none "},
      {"no-drm", {}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(joined(c.machine, c.devices), c.joins) << c.machine;
}

TEST(AdapterJoin, SaysWhatWasLeftOut) {
  LogCapture log;
  joined("nvidia", {"/dev/dri/card0", "/dev/dri/renderD128", "*", "*"});
  EXPECT_EQ(log.text,
            "not joined: 2 NVIDIA contexts without a node, 1 NVIDIA adapters left over\n"
            "context[0]=/dev/dri/card0 joined to adapter 0000:01:00.0\n"
            "context[1]=/dev/dri/renderD128 left out: adapter 0000:01:00.0 has "
            "context[0]=/dev/dri/card0\n"
            "context[2]= joined to no adapter\ncontext[3]= joined to no adapter\n");
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

}  // namespace
