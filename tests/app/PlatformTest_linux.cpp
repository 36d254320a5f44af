#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "Platform.h"
#include "Probe.h"

namespace {

TEST(PlatformTest, OnlyAGivenTimeoutArmsTheAlarm) {
  Probe probe;
  probe.RunWith({"-help"});
  EXPECT_EQ(alarm(0), 0u);
  probe.RunWith({"-timeout=1000", "-help"});
  EXPECT_GT(alarm(0), 990u);
}

TEST(PlatformTest, ClosedDescriptorsAreFilledAndStayUnusable) {
  const auto closeAndPrepare = [] {
    for (const int descriptor : {0, 1, 2}) close(descriptor);
    PreparePlatform();
    char byte = 0;
    const bool filled = open("/dev/null", O_RDWR) == 3;
    const bool deaf = read(0, &byte, 1) == -1 && write(1, "x", 1) == -1 && write(2, "x", 1) == -1;
    _exit(filled && deaf ? 0 : 1);
  };
  EXPECT_EXIT(closeAndPrepare(), testing::ExitedWithCode(0), "");
}

}  // namespace
