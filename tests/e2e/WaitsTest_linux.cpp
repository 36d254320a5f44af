#include <gtest/gtest.h>

#include <csignal>

#include "Probe.h"

namespace {

TEST(LinuxWaits, HangDelaysTheExit) {
  using Case = std::pair<const char*, int>;
  for (const auto& [argument, code] : {Case{"-exit=5", 5}, {"-throwAfter=0", 2}, {"-help", 3}}) {
    const Outcome run = RunProbe({{"-hang=300", argument}});
    EXPECT_EQ(run.code, code);
    EXPECT_GE(run.seconds, 0.3);
  }
}

TEST(LinuxWaits, TimeoutEndsTheProbe) {
  // Time for the whole report on a busy machine. A host may have handed down its own settings of the signal.
  const Outcome run = RunProbe({{"-timeout=5", "-hang=60000"},
                                "",
                                Start().streams,
                                "env --ignore-signal=ALRM --block-signal=ALRM " + Start().program});
  EXPECT_EQ(run.signal, SIGALRM);
  EXPECT_GE(run.seconds, 4.9);
  EXPECT_EQ(run.out, PlainReport());
  EXPECT_EQ(run.err, Lines());
  // The last one counts, and none or fewer seconds are no limit.
  EXPECT_EQ(RunProbe({{"-timeout=1", "-timeout=-1", "-hang=1200"}}).code, 0);
}

}  // namespace
