#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "app/Platform.h"
#include "log/Loggers.h"
#include "log/Streams.h"
#include "tests/app/Probe.h"

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
    const bool filled = open("/dev/null", O_RDWR) >= 3;
    const bool deaf = read(0, &byte, 1) == -1 && write(1, "x", 1) == -1 && write(2, "x", 1) == -1;
    _exit(filled && deaf ? 0 : 1);
  };
  EXPECT_EXIT(closeAndPrepare(), testing::ExitedWithCode(0), "");
}

// Every way on which a driver might print, a half line included.
TEST(PlatformTest, StandardOutputIsOursAlone) {
  int pipe[2];
  ASSERT_EQ(::pipe(pipe), 0);
  const auto print = [&] {
    dup2(pipe[1], STDOUT_FILENO);
    setenv("LIBGL_DEBUG", "verbose", 1);
    PreparePlatform();
    std::printf("by C, ");
    if (write(STDOUT_FILENO, "by descriptor, ", 15) != 15) _exit(1);
    writeLine(reportStream(), "ours");
    std::printf("%s, %s, %s", SnifferLogger().name().c_str(), std::getenv("EGL_LOG_LEVEL"),
                std::getenv("LIBGL_DEBUG"));
    LeaveProcess(5);
  };
  EXPECT_EXIT(print(), testing::ExitedWithCode(5), "by C, by descriptor, stdout, fatal, verbose$");
  char text[20] = {};
  EXPECT_EQ(read(pipe[0], text, sizeof text), 5);
  EXPECT_STREQ(text, "ours\n");
}

}  // namespace
