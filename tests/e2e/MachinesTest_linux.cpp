#include <gmock/gmock.h>

#include "Probe.h"

namespace {

using namespace testing;

#define MESA_ALONE "__EGL_VENDOR_LIBRARY_FILENAMES=/usr/share/glvnd/egl_vendor.d/50_mesa.json "

struct Machine {
  const char* name;
  const char* before;
  const char* oglInitialized;
  const char* reason;  // among the diagnostics
  size_t errors;       // at least so many lines on standard error
  const char* error;   // and every one of them
};

class Machines : public TestWithParam<Machine> {};

TEST_P(Machines, ReportGoesToItsEnd) {
  const Machine& machine = GetParam();
  const std::string initialized = std::string("ZOROGLInitialized=") + machine.oglInitialized;
  const Lines report = {
      R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1", initialized,
      "OGLContextCreated=0",     "NumGLGPUs=0",      "NumCLGPUs=0",          "NumNativeGPUs=0",
      "snifferEnd=..."};
  const Outcome plain = RunProbe({{}, machine.before});
  EXPECT_EQ(plain.code, 0);
  EXPECT_EQ(plain.out, report);
  const Outcome verbose = RunProbe({{"-verbose=1"}, machine.before});
  EXPECT_EQ(verbose.code, 0);
  EXPECT_EQ(verbose.report, report);
  EXPECT_THAT(verbose.comments, Contains(ContainsRegex(machine.reason)));
  EXPECT_GE(plain.err.size(), machine.errors);
  for (const std::string& line : plain.err) EXPECT_THAT(line, MatchesRegex(machine.error));
}

INSTANTIATE_TEST_SUITE_P(Linux, Machines,
                         Values(Machine{"EGL",
                                        R"(echo none >"$0/libEGL.so.1"; LD_LIBRARY_PATH="$0")", "0",
                                        "Cannot create default ContextOffscreen.*libEGL.so.1: ", 1,
                                        "DoGetGPUs fails with exception: .*libEGL.so.1: .*"},
                                Machine{"VendorFile", R"(__EGL_VENDOR_LIBRARY_FILENAMES="$0/none")",
                                        "1", "no OpenGL device gives a context", 0, "none"},
                                Machine{"Driver", MESA_ALONE R"(LIBGL_DRIVERS_PATH="$0")", "1",
                                        "no context on .*eglInitialize: EGL_NOT_INITIALIZED", 0,
                                        "(libEGL warning: .*|)"}),
                         nameOf);

TEST(LinuxMachines, HelpLoadsNoDriver) {
  const auto loaded = [](const Lines& arguments) {
    std::string lines;
    for (const std::string& line : RunProbe({arguments, "LD_DEBUG=libs"}).err) lines += line;
    return lines;
  };
  const std::string help = loaded({"-help"});
  for (const char* library : {"libEGL", "libGL", "libOpenCL", "_dri.so"})
    EXPECT_THAT(help, Not(HasSubstr(library)));
  EXPECT_THAT(loaded({}), HasSubstr("libEGL.so.1"));
}

}  // namespace
