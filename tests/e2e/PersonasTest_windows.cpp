#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

struct Persona {
  const char* name;
  uint32_t vendor;
  uint32_t device;
  uint64_t megabytes;
  bool matched;
};

constexpr uint32_t kAMD = 0x1002, kIntel = 0x8086, kNVIDIA = 0x10de;

/// The lines key=value of the plain calls and of the report.
class Facts : public std::map<std::string, std::string> {
 public:
  explicit Facts(const Lines& lines) {
    for (const std::string& line : lines) {
      const size_t end = line.find('=');
      EXPECT_TRUE(emplace(line.substr(0, end), line.substr(end + 1)).second) << line;
    }
  }
  uint64_t number(const std::string& key) { return std::stoull((*this)[key]); }
};

bool looksIntegrated(Facts& facts) {
  const uint64_t vendor = facts.number("dxgi0.VendorId");
  return (vendor == kAMD || vendor == kIntel) && facts.number("dxgi0.Video") < 128 << 20;
}

uint64_t usableMegabytes(Facts& facts) {
  constexpr uint64_t kGiB = 1 << 30;
  uint64_t bytes = facts.number("dxgi0.Video") + facts.number("dxgi0.System");
  const uint64_t shared =
      std::min({facts.number("dxgi0.Shared"), facts.number("installed") / 4, 2 * kGiB});
  if (bytes < kGiB && looksIntegrated(facts)) bytes = std::min(bytes + shared, 2 * kGiB);
  return std::max(bytes, facts.number("wmi0.AdapterRAM")) >> 20;
}

void expectReport(const Persona& persona) {
  const Outcome run = RunProbe({{std::to_string(persona.vendor), std::to_string(persona.device),
                                 std::to_string(persona.megabytes), persona.matched ? "" : " 2"},
                                "",
                                Start().streams,
                                "tests/e2e/native/persona"});
  ASSERT_EQ(run.code, 0);
  Facts facts(run.report);
  // The machine is the one that was to be played.
  ASSERT_EQ(facts.number("dxgi0.VendorId"), persona.vendor);
  ASSERT_EQ(facts.number("dxgi0.DeviceId"), persona.device);
  ASSERT_EQ(facts.number("dxgi0.Video"), persona.megabytes << 20);
  ASSERT_EQ(facts["wmi0.Status"], "OK");
  ASSERT_EQ(facts["wmi0.Name"], facts["dxgi0.Description"]);
  ASSERT_EQ(facts["display0"] == facts["dxgi0.Description"], persona.matched);

  EXPECT_EQ(facts["NumGLGPUs"], "1");
  const auto expectAnswer = [&](const std::string& key, const std::string& joined,
                                const std::string& alone) {
    EXPECT_EQ(facts["glgpu[0]." + key], persona.matched ? joined : alone) << key;
  };
  const auto quoted = [&](const std::string& key) { return '"' + facts[key] + '"'; };
  expectAnswer("GLName", quoted("dxgi0.Description"), R"("")");
  expectAnswer("GLVendorID", facts["dxgi0.VendorId"], "0");
  expectAnswer("GLRendererID", facts["dxgi0.DeviceId"], "0");
  expectAnswer("IsIntegratedGLGPU", looksIntegrated(facts) ? "1" : "0", "0");
  expectAnswer("GLMemoryMB", std::to_string(usableMegabytes(facts)), "0");
  expectAnswer("GLDriverVersion", quoted("wmi0.DriverVersion"), R"("?")");
  expectAnswer("GLDriver", quoted("wmi0.InstalledDisplayDrivers"), R"("?")");
  expectAnswer("GLDriverDate", quoted("wmi0.DriverDate"), R"("?")");
  // Two makers' drivers are asked for their memory. The one that answers here does not know it.
  const bool asked = persona.matched && persona.vendor != kIntel;
  EXPECT_EQ(run.err, Lines(asked, "Failed requirement: glStatus == GL_NO_ERROR"));
}

class Few : public TestWithParam<Persona> {};
class More : public TestWithParam<Persona> {};

TEST_P(Few, AreReportedAsPlainCallsSay) {
  expectReport(GetParam());
}
TEST_P(More, AreReportedAsPlainCallsSay) {
  expectReport(GetParam());
}

// Wine plays no device that it does not know.
constexpr uint32_t kHD4000 = 0x0166, kRX480 = 0x67df, kGTX1080Ti = 0x1b06;

INSTANTIATE_TEST_SUITE_P(WindowsPersonas, Few,
                         Values(Persona{"Intel64Matched", kIntel, kHD4000, 64, true},
                                Persona{"AMD4096Unmatched", kAMD, kRX480, 4096, false},
                                Persona{"NVIDIA8192Matched", kNVIDIA, kGTX1080Ti, 8192, true}),
                         nameOf);
INSTANTIATE_TEST_SUITE_P(WindowsPersonas, More,
                         Values(Persona{"Intel128Matched", kIntel, kHD4000, 128, true},
                                Persona{"AMD96Matched", kAMD, kRX480, 96, true},
                                Persona{"AMD4096Matched", kAMD, kRX480, 4096, true},
                                Persona{"NVIDIA32Matched", kNVIDIA, kGTX1080Ti, 32, true}),
                         nameOf);

class FewLibraries : public TestWithParam<const char*> {};

TEST_P(FewLibraries, AMissingOneFailsItsCallsAlone) {
  const std::string name = GetParam();
  const Outcome run =
      RunProbe({{"-verbose=1"}, "WINEDLLOVERRIDES=\"$WINEDLLOVERRIDES;" + name + "=\""});
  const bool opengl = name != "opengl32";
  Lines failures = {"CreateDXGIFactory", "CreateGXGIFactory failed"};
  if (!opengl) failures.push_back("ContextOffscreen exception caught and ignored.");
  EXPECT_EQ(run.err, failures);
  EXPECT_THAT(run.report,
              IsSupersetOf({"OGLContextCreated=" + std::to_string(opengl),
                            "NumGLGPUs=" + std::to_string(opengl), std::string("snifferEnd=...")}));
  EXPECT_THAT(run.comments, Contains(HasSubstr(name + ".dll: ")));
  EXPECT_EQ(run.code, 0);
}

INSTANTIATE_TEST_SUITE_P(WindowsPersonas, FewLibraries, Values("dxgi", "opengl32"));

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
