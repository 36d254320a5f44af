#include <gmock/gmock.h>

#include <csignal>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

/// One OpenCL GPU and nothing else: PoCL's CPU behind the layers of GPUPROBE_LAYERS. The test
/// kernel takes PoCL many seconds, so it is cut short.
constexpr char kMachine[] =
    R"(cp /etc/OpenCL/vendors/pocl.icd "$0"; export OCL_ICD_VENDORS="$0" POCL_DEVICES=pthread POCL_MEMORY_LIMIT=1)"
    " GPUPROBE_SHORT=1 __EGL_VENDOR_LIBRARY_FILENAMES=/none"
    R"( OPENCL_LAYERS=${GPUPROBE_LAYERS:?}/cpu_as_gpu.so:)"
    "$GPUPROBE_LAYERS/fault.so;";

Outcome run(const std::string& environment = "", const Lines& arguments = {}) {
  return RunProbe({arguments, kMachine + environment});
}

// Each call fails once over the fake driver; these are the kinds of question, over a real one.
TEST(LinuxOpenCLFaults, CostTheirQuestionAlone) {
  const Lines healthy = run("", {"-exit=7"}).out;
  const auto failing = [](const std::string& call) {
    return run("GPUPROBE_FAULT=" + call + ":error", {"-exit=7"});
  };
  for (const char* call : {"clGetDeviceInfo:9", "clCreateContext:1", "clCreateBuffer:2",
                           "clBuildProgram:1", "clSetKernelArg:2", "clWaitForEvents:1"}) {
    const Outcome outcome = failing(call);
    EXPECT_EQ(outcome.code, 2) << call;
    EXPECT_EQ(outcome.out.size(), healthy.size() - 1) << call;
    EXPECT_THAT(healthy, IsSupersetOf(outcome.out)) << call;
    EXPECT_THAT(outcome.err.back(), HasSubstr("xception: ")) << call;
  }
  for (const char* call : {"clFinish:1", "clReleaseMemObject:1"})
    EXPECT_EQ(failing(call).out, healthy) << call;
  const Outcome ended = failing("clGetPlatformIDs:3");
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.out, Not(Contains(StartsWith("NumCLGPUs"))));
  EXPECT_EQ(ended.err, Lines{"ZOR::LogicalException: clGetPlatformIDs: status -5"});
}

TEST(LinuxOpenCLFaults, OfOtherKinds) {
  const Lines healthy = run().out;
  // What a driver prints never meets a line of the report.
  const Outcome chatty = run("GPUPROBE_FAULT=*:*:noise", {"-verbose=1"});
  EXPECT_EQ(chatty.report, healthy);
  EXPECT_THAT(chatty.comments, Each(Not(HasSubstr("driver's"))));
  for (const char* said : {"] BEGIN GPUSnifferTester::DoRunCLBandwidth",
                           "] END GPUSnifferTester::DoRunCLBandwidth, duration="})
    EXPECT_THAT(chatty.comments, Contains(HasSubstr(said)));
  EXPECT_THAT(chatty.err, Contains(HasSubstr("driver's half line driver's half line ")));
  const Outcome crashed = run("GPUPROBE_FAULT=clBuildProgram:1:crash", {"-verbose=1"});
  EXPECT_EQ(crashed.signal, SIGSEGV);
  ASSERT_FALSE(crashed.report.empty());
  EXPECT_EQ(crashed.report.back(), "clgpu[0].CLBandwidth=...");
  EXPECT_THAT(run("GPUPROBE_FAULT=clEnqueueCopyBuffer:*:error").text,
              HasSubstr("clgpu[0].CLBandwidth=0"));
}

TEST(LinuxOpenCLMachines, CountTheirGPUs) {
  const std::pair<const char*, const char*> machines[] = {
      {R"(echo none >"$0/libOpenCL.so.1"; LD_LIBRARY_PATH="$0")", "no line"},
      {R"(rm "$0/pocl.icd";)", "NumCLGPUs=0"},
      {R"(echo libnone.so >"$0/pocl.icd";)", "NumCLGPUs=0"},
      {R"(echo libnone.so >"$0/none.icd";)", "NumCLGPUs=1"},
      {"OPENCL_LAYERS=", "NumCLGPUs=0"},
      {R"(POCL_DEVICES="pthread pthread")", "NumCLGPUs=2"},
      // Another maker's platform and its own device.
      {R"(cp /etc/OpenCL/vendors/rusticl.icd "$0"; rm "$0/pocl.icd";)"
       " RUSTICL_ENABLE=llvmpipe RUSTICL_DEVICE_TYPE=gpu",
       "NumCLGPUs=1"}};
  for (const auto& [environment, expected] : machines) {
    const Outcome outcome = run(environment);
    EXPECT_EQ(outcome.code, 0) << environment;
    EXPECT_EQ(outcome.out.back(), "snifferEnd=...") << environment;
    std::string counts;
    for (const std::string& line : outcome.out)
      if (line.rfind("NumCLGPUs", 0) == 0) counts += line;
    EXPECT_EQ(counts.empty() ? "no line" : counts, expected) << environment;
  }
}

}  // namespace
