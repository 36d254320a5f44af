#include <benchmark/benchmark.h>

#include <boost/make_shared.hpp>

#include "app/MySniffer.h"
#include "linux/GPUImplLinux.h"
#include "tests/support/FakeGL.h"
#include "tests/support/FakeGPUImpl.h"

namespace {

/// The tester over the fake machine's table: its own work and nothing else.
class TableTester : public MyTester {
 public:
  using MyTester::MyTester;
  void DoRunZOROCLInitialize() override { fOCLAvailable = true; }
};

/// The tester over the real OpenGL side with a fake driver beneath.
class DriverTester : public MyTester {
 public:
  using MyTester::MyTester;
  void DoRunGLGPUs() override {
    fGLGPUs.clear();
    for (const boost::shared_ptr<GPU>& gpu : GPUImplLinux().DoGetGPUs())
      fGLGPUs.emplace_back("glgpu[" + std::to_string(fGLGPUs.size()) + "]", gpu);
  }
  void DoRunZOROCLInitialize() override {}
};

template <class Tester>
class CountingApp : public MySniffer {
 public:
  boost::shared_ptr<GPUSnifferTester> CreateTester() override {
    return boost::make_shared<Tester>(*this);
  }
  void DoStdout(const std::string& line) override { bytes += line.size(); }

  size_t bytes = 0;
};

template <class Tester>
void runTester(benchmark::State& state, FakeGL& driver) {
  size_t bytes = 0;
  for (auto _ : state) {
    // What the fake remembers of earlier runs is no work of the probe.
    driver.calls.clear();
    CountingApp<Tester> app;
    ArgumentList arguments = {"gpuprobe"};
    if (app.Run(arguments) != 0) state.SkipWithError("the run failed");
    bytes = app.bytes;
  }
  const auto gpus = static_cast<double>(state.range(0));
  state.counters["per_gpu"] = benchmark::Counter(
      gpus, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.counters["report_bytes"] = static_cast<double>(bytes);
  state.SetComplexityN(state.range(0));
}

void FakeTable(benchmark::State& state) {
  FakeGL driver;
  fakeMachine.gl = fakeMachine.cl = static_cast<unsigned>(state.range(0));
  runTester<TableTester>(state, driver);
}

void FakeDriver(benchmark::State& state) {
  FakeGL driver;
  driver.devices.clear();
  for (int64_t i = 0; i < state.range(0); ++i)
    driver.devices.push_back({"/dev/dri/card" + std::to_string(i), "Board X", std::to_string(i)});
  driver.extensions.assign(300, "GL_ARB_texture_float");
  runTester<DriverTester>(state, driver);
}

BENCHMARK(FakeTable)->RangeMultiplier(2)->Range(1, 64)->Complexity(benchmark::oN);
BENCHMARK(FakeDriver)->RangeMultiplier(2)->Range(1, 64)->Complexity(benchmark::oN);

}  // namespace
