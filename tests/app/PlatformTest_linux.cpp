#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "Platform.h"
#include "Probe.h"

namespace {

TEST(PlatformTest, OnlyAGivenTimeoutArmsTheAlarm) {
  Probe probe;
  probe.RunWith({"-help"});
  EXPECT_EQ(alarm(0), 0u);
  probe.RunWith({"-timeout=1000", "-help"});
  EXPECT_GT(alarm(0), 990u);
  probe.RunWith({"-timeout=1000", "-timeout=-1", "-help"});
  EXPECT_EQ(alarm(0), 0u);

  const auto armWithWhatWasInherited = [] {
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, nullptr);
    std::signal(SIGALRM, SIG_IGN);
    ArmTimeout(1000);
    raise(SIGALRM);
  };
  EXPECT_EXIT(armWithWhatWasInherited(), testing::KilledBySignal(SIGALRM), "");
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

TEST(PlatformTest, LineThatCannotBeWrittenIsNoticedEachTime) {
  testing::internal::CaptureStderr();
  const int kept = dup(1);
  const int full = open("/dev/full", O_WRONLY);
  dup2(full, 1);
  MySniffer app;
  app.DoStdout("lost");
  app.DoComment("lost too");
  dup2(kept, 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "DoStdout failed\nDoStdout failed\n");
  for (const int descriptor : {kept, full}) close(descriptor);
}

}  // namespace
