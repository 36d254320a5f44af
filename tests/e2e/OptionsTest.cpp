#include <gtest/gtest.h>

#include "tests/e2e/Probe.h"

namespace {

const Lines kUsage = {
    "Usage exception: usage",
    "usage: ",
    "    -help {show this message}",
    "    -crashAfter=N {GPUSnifferTester should crash after N steps}",
    "    -throwAfter=N {GPUSnifferTester should throw after N steps}",
    "    -app=SomeApp {specify name of host app}",
    "    -stdout=line_of_stdout {puts the line to stdout as-is}",
    "    -stderr=line_of_stderr {puts the line to stderr as-is}",
    "    -exit=N {app should exit with N}",
    "    -verbose=N {verbosity level}",
    "    -timeout=N {Mac only, SIGALRM kills sniffer after N seconds, if not finished}",
    "    -comment=line_of_comment {outputs '# line_of_comment'}",
    "    -hang=N {before exit, sleep for N milliseconds}",
};

/// The lines come before the report and the usage. Code 3 is a usage error, which has no report.
void expectOutcome(const Lines& arguments, Lines out, Lines err, int code) {
  const Lines& report = PlainReport();
  const Outcome run = RunProbe({arguments});
  const std::string trace = testing::PrintToString(arguments).substr(0, 200);
  EXPECT_EQ(run.code, code) << trace;
  if (code == 3)
    err.insert(err.end(), kUsage.begin(), kUsage.end());
  else
    out.insert(out.end(), report.begin(), report.end());
  EXPECT_TRUE(run.out == out) << trace << run.text.substr(0, 4000);
  EXPECT_TRUE(run.err == err) << trace << testing::PrintToString(run.err).substr(0, 4000);
}

TEST(Options, NotUnderstood) {
  // Help comes at once, so nothing behind it happens; all else waits for the end of the line.
  expectOutcome({"-stdout=seen", "-help", "-stdout=unseen"}, {"seen"}, {}, 3);
  expectOutcome({"-exit=5", "-stdout=a", "stray", "-stderr=e", "-comment=b"}, {"a", "# b"}, {"e"},
                3);
}

TEST(Options, Texts) {
  expectOutcome({"-stdout=\"a b\"", "-stdout=\"a\"b\"", "-stdout=", "-comment=%s", "-stderr=%n"},
                {"a b", "a\"b", "", "# %s"}, {"%n"}, 0);
  expectOutcome({"-app=", "-timeout=600", "-timeout=0", "-hang=-1", "-verbose=1", "-verbose=none"},
                {}, {}, 0);
}

// Of the code the system keeps the low byte.
TEST(Options, Integers) {
  expectOutcome({"-crashAfter=-1", "-throwAfter=4294967295", "-exit=3", "-exit=-1"}, {}, {}, 255);
}

// Wine passes none of these on.
TEST(LinuxOptions, HugeAndNotUTF8) {
  expectOutcome({"-exit=-4294967291"}, {}, {}, 0);
  const std::string huge(100000, 'x'), bytes = "\xff\xfe\x80 \xc3(";
  expectOutcome({"-stdout=" + huge, "-stderr=\"" + huge + "\"", "-app=" + huge}, {huge}, {huge}, 0);
  expectOutcome({"-exit=" + std::string(100000, '9')}, {}, {}, 255);
  expectOutcome({"-" + huge + "=1", "-x=" + huge, huge}, {}, {}, 3);
  expectOutcome({"-stdout=" + bytes, "-comment=" + bytes}, {bytes, "# " + bytes}, {}, 0);
  expectOutcome({"-" + bytes + "=1", bytes}, {}, {}, 3);
}

}  // namespace
