#include <gmock/gmock.h>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

// Makers' adapters as the registry describes them. Wine plays no device that it does not know.
TEST(WindowsPersonas, AreReportedAsTheRegistrySays) {
  const struct {
    uint32_t vendor, device;
    unsigned megabytes;
    bool matched;  // the display device has the adapter's name
    const char* title;
    const char* integrated;
    Matcher<unsigned long> memory;
  } personas[] = {{0x8086, 0x0166, 64, true, R"("Intel(R) HD Graphics 4000")", "1",
                   AllOf(Gt(64UL), Le(2048UL))},
                  {0x1002, 0x67df, 4096, false, R"("")", "0", 0UL},
                  {0x10de, 0x1b06, 8192, true, R"("NVIDIA GeForce GTX 1080 Ti")", "0", 8192UL}};
  for (const auto& [vendor, device, megabytes, matched, title, integrated, memory] : personas) {
    SCOPED_TRACE(title);
    const Outcome run = RunProbe({{std::to_string(vendor), std::to_string(device),
                                   std::to_string(megabytes), matched ? "" : " 2"},
                                  "",
                                  Start().streams,
                                  "tests/e2e/native/persona"});
    ASSERT_EQ(run.code, 0);
    const auto answer = [&run](const std::string& key) {
      const std::string start = "glgpu[0]." + key + "=";
      for (const std::string& line : run.report)
        if (line.rfind(start, 0) == 0) return line.substr(start.size());
      return "no " + key;
    };
    EXPECT_THAT(run.report, Contains("NumGLGPUs=1"));
    EXPECT_EQ(answer("GLName"), title);
    EXPECT_EQ(answer("GLVendorID"), std::to_string(matched ? vendor : 0));
    EXPECT_EQ(answer("GLRendererID"), std::to_string(matched ? device : 0));
    EXPECT_EQ(answer("IsIntegratedGLGPU"), integrated);
    EXPECT_THAT(std::stoul(answer("GLMemoryMB")), memory);
    // The texts of the management service; which ones it gives is its own affair.
    for (const char* key : {"GLDriverVersion", "GLDriver", "GLDriverDate"})
      EXPECT_THAT(answer(key), MatchesRegex(matched ? "\"[^?\"]+\"" : "\"[?]\"")) << key;
    // Two makers' drivers are asked for their memory. The one that answers here does not know it.
    EXPECT_EQ(run.err,
              Lines(matched && vendor != 0x8086, "Failed requirement: glStatus == GL_NO_ERROR"));
  }
}

TEST(WindowsPersonas, AMissingLibraryFailsItsCallsAlone) {
  for (const std::string name : {"dxgi", "opengl32"}) {
    const Outcome run =
        RunProbe({{"-verbose=1"}, "WINEDLLOVERRIDES=\"$WINEDLLOVERRIDES;" + name + "=\""});
    const bool opengl = name != "opengl32";
    Lines failures = {"CreateDXGIFactory", "CreateGXGIFactory failed"};
    if (!opengl) failures.push_back("ContextOffscreen exception caught and ignored.");
    EXPECT_EQ(run.err, failures);
    EXPECT_THAT(run.report, IsSupersetOf({"OGLContextCreated=" + std::to_string(opengl),
                                          "NumGLGPUs=" + std::to_string(opengl),
                                          std::string("snifferEnd=...")}));
    EXPECT_THAT(run.comments, Contains(HasSubstr(name + ".dll: ")));
    EXPECT_EQ(run.code, 0);
  }
}

// The last line names the driver behind all that was said before, and the exit status stays.
TEST(WindowsPersonas, CrashOfADriverIsNamed) {
  // What stands behind the front is never called.
  const std::string fault =
      "GPUPROBE_REAL_OPENCL=kernel32.dll GPUPROBE_FAULT=clGetPlatformIDs:1:crash";
  const Outcome run = RunProbe({{"build/windows/rehearsal/OpenCL.dll", "-stderr=before"},
                                fault,
                                Start().streams,
                                "tests/e2e/native/opencl"});
  EXPECT_EQ(run.code, 0xC0000005 & 0xFF);
  EXPECT_THAT(run.report, Contains("NumGLGPUs=1"));
  EXPECT_THAT(run.err, ElementsAre("before", "",
                                   MatchesRegex("crash: 0xC0000005 in C:.windows.system32."
                                                "[Oo]pen[Cc][Ll].dll.0x[0-9a-f]+")));
}

TEST(WindowsNoDisplay, RunReachesItsEndAndSaysWhatFailed) {
  const Outcome run = RunProbe({{"-verbose=2"}});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.report,
              ElementsAre(R"(Tester="LarkspanApp")", "snifferStart=...", "ZORCoreInitialized=1",
                          "ZOROGLInitialized=1", "OGLContextCreated=0", "NumGLGPUs=0",
                          "NumCLGPUs=0", "NumNativeGPUs=0", "snifferEnd=..."));
  EXPECT_EQ(run.err, Lines({"CreateDXGIFactory", "CreateGXGIFactory failed",
                            "ContextOffscreen exception caught and ignored."}));
  for (const char* said :
       {"Cannot create default ContextOffscreen: ZOR::LogicalException: CreateWindowEx",
        "WMIData::GetAllDevices() exception: CreateDXGIFactory",
        "DXGIData::GetAllDevices() exception: CreateGXGIFactory failed", "zorNumContexts=0"})
    EXPECT_THAT(run.comments, Contains(HasSubstr(said)));
}

TEST(WindowsNoDisplay, ProgramStartsWithTheKernelAndTheCLibraryOnly) {
  const Outcome run =
      RunProbe({{}, "", Start().streams, "x86_64-w64-mingw32-objdump -p ${GPUPROBE#* }"});
  Lines imported;
  for (const std::string& line : run.out)
    if (line.find("DLL Name: ") != std::string::npos)
      imported.push_back(line.substr(line.rfind(' ') + 1));
  EXPECT_THAT(imported, UnorderedElementsAre("KERNEL32.dll", "msvcrt.dll"));
}

}  // namespace
