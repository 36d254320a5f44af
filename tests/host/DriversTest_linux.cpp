// The built probe with drivers that fail: OpenCL's fault layer over PoCL, and a libEGL of our own.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "host/Inspect.h"
#include "host/Json.h"

namespace {

using namespace testing;
using namespace host;
namespace fs = std::filesystem;

std::string layers() {
  return std::getenv("GPUPROBE_LAYERS");
}

class HostDrivers : public Test {
 protected:
  HostDrivers() : fFolder(fs::temp_directory_path() / "gpuprobe-host-XXXXXX") {
    EXPECT_NE(mkdtemp(fFolder.data()), nullptr);
    fs::create_directory(fFolder + "/icd");
    fs::copy_file("/etc/OpenCL/vendors/pocl.icd", fFolder + "/icd/pocl.icd");
  }
  ~HostDrivers() override { fs::remove_all(fFolder); }

  Options options(const std::string& played = "device=/dev/dri/card7;renderer=A") const {
    Options options;
    options.probe = std::getenv("GPUPROBE");
    options.silence = nkutil::Milliseconds{3000};
    options.environment = {{"OCL_ICD_VENDORS", fFolder + "/icd"},
                           {"POCL_DEVICES", "pthread"},
                           {"POCL_MEMORY_LIMIT", "1"},
                           {"GPUPROBE_SHORT", "1"},
                           {"OPENCL_LAYERS", layers() + "/cpu_as_gpu.so:" + layers() + "/fault.so"},
                           {"LD_LIBRARY_PATH", layers() + "/egl"},
                           {"GPUPROBE_PLAY", played}};
    return options;
  }
  static Inspection inspect(const Options& options) {
    const Inspection result = Inspect(nkutil::systemLauncher(), options);
    EXPECT_LE(result.durationSeconds,
              std::chrono::duration<double>(options.deadline).count() + 0.1);
    return result;
  }

  std::string fFolder;
};

/// Reasons of the answers that another result has and this one lacks. What both have is the same,
/// but for figures that are measured.
std::vector<std::string> lost(const Api& has, const Api& lacks) {
  std::vector<std::string> names;
  for (std::size_t gpu = 0; gpu < has.gpus.size(); ++gpu)
    for (std::size_t i = 0; i < has.gpus[gpu].answers.size(); ++i) {
      const Answer& old = has.gpus[gpu].answers[i];
      const Answer now = gpu < lacks.gpus.size() ? lacks.gpus[gpu].answers[i] : Reason::Absent;
      const auto* value = std::get_if<host::Value>(&now);
      EXPECT_TRUE(!value || std::holds_alternative<double>(*value) || old == now);
      if (!value && old != now) names.push_back(name(std::get<Reason>(now)));
    }
  return names;
}

struct Fault {
  unsigned long call;
  bool hangs;
  bool once;
};

class HostSweep : public HostDrivers {
 protected:
  void SetUp() override {
    Options counted = options();
    counted.environment.emplace_back("GPUPROBE_FAULT_TRACE", fFolder + "/trace");
    fHealthy = inspect(counted);
    ASSERT_EQ(fHealthy.openGL.gpus.size(), 1U);
    ASSERT_EQ(fHealthy.openCL.gpus.size(), 1U);
    ASSERT_THAT(fHealthy.incidents, IsEmpty());
    std::ifstream trace(fFolder + "/trace");
    for (std::string line; std::getline(trace, line);) fCalls += line.rfind("call cl", 0) == 0;
    ASSERT_GT(fCalls, 50U);
  }
  void expectPromise(const Fault& fault) const;
  void sweep(const std::vector<Fault>& faults) const;

  Inspection fHealthy;
  unsigned long fCalls = 0;
};

void HostSweep::expectPromise(const Fault& fault) const {
  const std::string id = std::to_string(fault.call) + (fault.hangs ? " hangs" : " crashes") +
                         (fault.once ? " once" : " always");
  SCOPED_TRACE(id);
  Options faulty = options();
  faulty.environment.emplace_back("GPUPROBE_FAULT", "cl*:" + std::to_string(fault.call) + ":" +
                                                        (fault.hangs ? "hang" : "crash"));
  if (fault.once) faulty.environment.emplace_back("GPUPROBE_FAULT_ONCE", fFolder + "/" + id);
  const Inspection result = inspect(faulty);
  EXPECT_THAT(lost(fHealthy.openGL, result.openGL), IsEmpty());
  EXPECT_EQ(result.openGL.status, fHealthy.openGL.status);
  ASSERT_FALSE(result.incidents.empty());
  const auto kind = fault.hangs ? Incident::Kind::Hung : Incident::Kind::Crashed;
  for (const Incident& incident : result.incidents) {
    EXPECT_EQ(incident.kind, kind) << incident.question;
    EXPECT_THAT(incident.library.value_or("none"), EndsWith("/fault.so")) << incident.question;
  }
  const Incident& first = result.incidents[0];
  const std::vector<std::string> gone = lost(fHealthy.openCL, result.openCL);
  if (first.question == "release") {
    EXPECT_THAT(gone, IsEmpty());
    EXPECT_EQ(result.status, Status::Complete);
    return;
  }
  EXPECT_EQ(result.status, fault.hangs ? Status::Hung : Status::Crashed);
  EXPECT_EQ(result.openCL.status, fault.hangs ? ApiStatus::Hung : ApiStatus::Crashed);
  const std::string reason = name(fault.hangs ? Reason::Hung : Reason::Crashed);
  EXPECT_EQ(result.openCL.gpus.empty(), !first.gpu);
  if (first.gpu) {
    EXPECT_THAT(gone, AllOf(Contains(reason), Each(AnyOf(reason, "not_reached"))));
    EXPECT_TRUE(gone.size() == 1 || !fault.once);
  }
  EXPECT_TRUE(result.incidents.size() == 1 || !fault.once);
}

void HostSweep::sweep(const std::vector<Fault>& faults) const {
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> workers;
  // Those that hang cost no processor.
  for (int i = 0; i < 8; ++i)
    workers.emplace_back([&] {
      for (std::size_t at; (at = next++) < faults.size();) expectPromise(faults[at]);
    });
  for (std::thread& worker : workers) worker.join();
}

/// All calls with GPUPROBE_EVERY_CALL, else those made once and a few of the batches between.
TEST_F(HostSweep, EachCallIsLost) {
  const bool all = std::getenv("GPUPROBE_EVERY_CALL");
  std::vector<Fault> faults;
  for (unsigned long call = 1; call <= fCalls; ++call)
    for (const bool once : {true, false}) {
      const bool edge = call <= 40 || call + 20 > fCalls;
      if (all || (edge ? call % 4 == (once ? 0 : 2) : call % 97 == 0))
        faults.push_back({call, false, once});
      if (all || call % (edge ? 13 : 311) == 0) faults.push_back({call, true, once});
    }
  sweep(faults);
}

TEST_F(HostDrivers, OfOpenGL) {
  constexpr char kTwo[] =
      "device=/dev/dri/card7;fault=eglInitialize:*:%s;device=/dev/dri/renderD129;render;renderer=B";
  for (const auto& [fault, status, gpus] : {std::tuple("hang", Status::Hung, 0),
                                            {"crash", Status::Crashed, 0},
                                            {"hang", Status::Hung, 1},
                                            {"crash", Status::Crashed, 1},
                                            {"abort", Status::Crashed, 1},
                                            {"stack", Status::Crashed, 1}}) {
    SCOPED_TRACE(fault);
    char fake[200];
    std::snprintf(fake, sizeof fake, kTwo, fault);
    Options bad = options(fake);
    if (gpus == 0)
      bad.environment.emplace_back("GPUPROBE_FAULT", std::string("eglLoad:1:") + fault);
    const Inspection result = inspect(bad);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.openGL.gpus.size(), static_cast<std::size_t>(gpus));
    EXPECT_EQ(result.openCL.status, ApiStatus::Ok);
    ASSERT_EQ(result.incidents.size(), 1U);
    const Incident& incident = result.incidents[0];
    EXPECT_EQ(incident.question, gpus ? "OGLContextCreated /dev/dri/card7" : "ZOROGLInitialized");
    EXPECT_THAT(incident.library.value_or(""), HasSubstr("/rehearsal/egl/libEGL.so.1"));
    EXPECT_GT(incident.libraryOffset.value_or(0), 0U);
    EXPECT_EQ(incident.threadState.empty(), status == Status::Crashed);
  }
}

// One that dies while it is loaded is found by leaving each out in turn.
TEST_F(HostDrivers, OfOpenCLBeforeTheyHaveNames) {
  for (const char* file : {"a.icd", "z.icd"}) {
    std::ofstream(fFolder + "/icd/" + file) << layers() + "/egl/libEGL.so.1\n";
    Options bad = options();
    bad.environment.emplace_back("GPUPROBE_FAULT", "eglLoad:1:crash");
    bad.skip = {"OpenGL"};
    const Inspection result = inspect(bad);
    EXPECT_EQ(result.status, Status::Crashed);
    ASSERT_EQ(result.openCL.gpus.size(), 1U);
    EXPECT_THAT(result.openCL.gpus[0].answers, Not(Contains(Answer(Reason::NotReached))));
    EXPECT_THAT(result.incidents, SizeIs(1));
    fs::remove(fFolder + "/icd/" + file);
  }
}

TEST(HostPackages, AreDebians) {
  const nkutil::Time soon = nkutil::Clock::now() + nkutil::Milliseconds{10000};
  EXPECT_THAT(PackageOf("/usr/bin/dpkg", soon).value_or(""), StartsWith("dpkg 1."));
  EXPECT_EQ(PackageOf("/usr/bin/no-such-file", soon), std::nullopt);
}

std::string outputOf(const std::string& command) {
  std::string text;
  FILE* pipe = popen(command.c_str(), "r");
  for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

TEST_F(HostDrivers, ExampleHostsAndTheLibrary) {
  for (const auto& [variable, value] : options().environment)
    setenv(variable.c_str(), value->c_str(), 1);
  const std::string bin = fs::read_symlink("/proc/self/exe").parent_path();
  const std::string library = bin + "/../lib/libgpuprobe-host.so.1";
  const std::string probe = std::getenv("GPUPROBE");
  std::string error;
  const auto report = FromJson(outputOf(bin + "/host_c " + probe), error);
  ASSERT_TRUE(report) << error;
  EXPECT_EQ(report->openCL.gpus.size(), 1U);
  const std::string names = outputOf(bin + "/host_cpp " + probe);
  EXPECT_THAT(names, AllOf(HasSubstr("opengl: "), ContainsRegex("opencl: \"(pthread|cpu)-")));
  EXPECT_THAT(
      outputOf(std::string("python3 " GPUPROBE_EXAMPLES "host.py ") + library + " " + probe),
      AllOf(StartsWith("status: "), ContainsRegex("opencl: (pthread|cpu)-")));
  EXPECT_THAT(outputOf(bin + "/host_c '\"'"), HasSubstr("options: "));
  // Functions and the name of their version alone.
  EXPECT_EQ(outputOf("nm -D --defined-only " + library + " | sed 's/.* //' | sort"),
            "gpuprobe_free\ngpuprobe_inspect\n");
}

}  // namespace
