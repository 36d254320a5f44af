#include "app/GPUSnifferTester.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/format.hpp>
#include <locale>
#include <stdexcept>

#include "log/Diagnostic.h"
#include "zor/core/Library.h"
#include "zor/ocl/Library.h"
#include "zor/ogl/Context.h"

GPUSnifferTester::~GPUSnifferTester() = default;

void GPUSnifferTester::Run() {
  fStep = 0;
  DoRunTesterName();
  DoRunEvent("snifferStart");
  DoRunZORCoreInitialize();
  if (admitsAPI("OpenGL", 3)) {
    DoRunZOROGLInitialize();
    DoRunOGLContextCreated();
    DoRunGLGPUs();
    DoRunGLTests();
  }
  if (admitsAPI("OpenCL", 1)) DoRunZOROCLInitialize();
  // Without OpenCL the report has no line about it: a count of 0 means that it found no device.
  if (fOCLAvailable) {
    DoRunCLGPUs();
    DoRunCLTests();
  }
  DoRunNativeGPUs();
  DoRunNativeTests();
  DoRunEvent("snifferEnd");
  Step();
}

bool GPUSnifferTester::admitsAPI(const char* api, int stages) {
  if (ActiveSwitches().AdmitsAPI(api)) return true;
  for (; stages > 0; --stages) Step();
  return false;
}

void GPUSnifferTester::DoRunTesterName() {}

void GPUSnifferTester::initialize(const char* key, const char* failureText, void (*action)()) {
  bool ok = false;
  try {
    action();
    ok = true;
  } catch (...) {
    Diagnostic{}(failureText, ": ", CurrentFailure());
  }
  Answer(key, ok);
}

void GPUSnifferTester::DoRunZORCoreInitialize() {
  initialize("ZORCoreInitialized", "ZOR::Core::Library::initialize() failed",
             [] { ZOR::Core::Library::Initialize(); });
}

void GPUSnifferTester::DoRunZOROGLInitialize() {
  ActiveSwitches().BeginStage("ZOROGLInitialized");
  initialize("ZOROGLInitialized", "ZOR::OGL::Library::initialize() failed",
             [] { ZOR::OGL::Library::Initialize(ZOR::OGL::Library::InitOptions()); });
}

void GPUSnifferTester::DoRunOGLContextCreated() {
  ActiveSwitches().BeginStage("OGLContextCreated");
  initialize("OGLContextCreated", "Cannot create default ContextOffscreen", [] {
    const ZOR::OGL::ContextOffscreen context(ZOR::OGL::Context::PrimaryDisplayDevice());
  });
}

void GPUSnifferTester::DoRunZOROCLInitialize() {
  ActiveSwitches().BeginStage("ZOROCLInitialized");
  std::string reason;
  // Its absence is no failure, so nobody is told the reason.
  fOCLAvailable = ZOR::OCL::Library::IsOpenCLAvailable(reason);
  if (!fOCLAvailable) return;
  Diagnostic{}("DoRunZOROCLInitialize: ZOR::OCL::Library::initialize();");
  ZOR::OCL::Library::Initialize();
}

TaggedGPUList GPUSnifferTester::listGPUs(const char* key, const std::string& kind,
                                         const GPUList& gpus) {
  WriteLine(key, static_cast<unsigned>(gpus.size()));
  TaggedGPUList list;
  for (const boost::shared_ptr<GPU>& gpu : gpus) {
    list.emplace_back(kind + "[" + std::to_string(list.size()) + "]", gpu);
  }
  return list;
}

void GPUSnifferTester::DoRunGLGPUs() {
  ActiveSwitches().BeginStage("NumGLGPUs");
  fGLGPUs = listGPUs("NumGLGPUs", "glgpu", MakeGPUImpl()->DoGetGPUs());
  Step();
}

void GPUSnifferTester::DoRunCLGPUs() {
  ActiveSwitches().BeginStage("NumCLGPUs");
  fCLGPUs = listGPUs("NumCLGPUs", "clgpu", MakeGPUImpl()->DoGetCLGPUs());
  Step();
}

void GPUSnifferTester::DoRunNativeGPUs() {
  fNativeGPUs = listGPUs("NumNativeGPUs", "nativegpu", MakeGPUImpl()->DoGetNativeGPUs());
  Step();
}

uint32_t GPUSnifferTester::Step() {
  // Counted first: a failing step has been taken, so a single throw fails one step only.
  const uint32_t taken = fStep++;
  if (fCrashAfter <= taken) {
    Crash();
  } else if (taken == fThrowAfter) {
    throw std::runtime_error("Programmed throw");
  }
  return taken + 1;
}

void GPUSnifferTester::Crash() {
  throw std::runtime_error("programmed failure");
}

std::string GPUSnifferTester::GetTimeString() {
  const auto now = boost::posix_time::second_clock::local_time();
  const auto date = now.date().year_month_day();
  const auto time = now.time_of_day();
  // A driver's locale may group digits.
  return str(boost::format("%04d-%02d-%02d_%02d:%02d:%02d", std::locale::classic()) % date.year %
             date.month.as_number() % date.day.as_number() % time.hours() % time.minutes() %
             time.seconds());
}

void GPUSnifferTester::DoRunEvent(const std::string& name) {
  Answer(name, GetTimeString());
}

void GPUSnifferTester::RunTests(const TaggedGPUList& list, const GPUTest& test) {
  for (const TaggedGPU& gpu : list) {
    try {
      test.run(*this, gpu);
    } catch (...) {
      // One question of one GPU: the others are worth asking all the same.
      fHost.TellFailure();
      Diagnostic{}("Testing terminated for ", gpu.first);
      ++fFailures;
    }
    ZOR::OGL::Library::AnswerMessages();
  }
}
