#include <gtest/gtest.h>

#include <csignal>

#include "Probe.h"

namespace {

TEST(LinuxHangingDriver, TimeoutEndsTheProbeAndKeepsItsLines) {
  const Lines start = {R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1"};
  Lines opened = start;
  opened.push_back("ZOROGLInitialized=1");
  const struct {
    const char* place;
    Lines lines;
  } cases[] = {{"load", start}, {"eglInitialize", opened}, {"eglCreateContext", opened}};
  for (const auto& c : cases) {
    const std::string before =
        std::string("LD_LIBRARY_PATH=" GPUPROBE_HANGING_EGL " HANG_IN=") + c.place;
    const Outcome run = RunProbe({{"-timeout=5", "-hang=1"}, before});
    EXPECT_EQ(run.signal, SIGALRM) << c.place;
    EXPECT_EQ(run.out, c.lines) << c.place;
    EXPECT_EQ(run.text.back(), '\n');
    EXPECT_EQ(run.err, Lines()) << c.place;
    EXPECT_GE(run.seconds, 4.9);
  }
}

TEST(LinuxHangingDriver, EndsByItselfWithoutTheHang) {
  // The same library where it doesn't hang: the double, not the time limit, made the difference.
  const Outcome run =
      RunProbe({{"-timeout=20"}, "LD_LIBRARY_PATH=" GPUPROBE_HANGING_EGL " HANG_IN=nowhere"});
  EXPECT_EQ(run.signal, 0);
  EXPECT_EQ(run.report.back(), "snifferEnd=...");
}

}  // namespace
