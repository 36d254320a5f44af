#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <sstream>

#include "tests/e2e/Probe.h"

namespace {

using namespace testing;

/// One OpenCL GPU and nothing else: PoCL's CPU behind the layers of GPUPROBE_LAYERS. The test
/// kernel takes PoCL many seconds, so it is cut short.
constexpr char kMachine[] =
    R"(cp /etc/OpenCL/vendors/pocl.icd "$0"; export OCL_ICD_VENDORS="$0" POCL_DEVICES=pthread POCL_MEMORY_LIMIT=1)"
    " GPUPROBE_SHORT=1 __EGL_VENDOR_LIBRARY_FILENAMES=/none"
    R"( GPUPROBE_FAULT_TRACE="$0/log" OPENCL_LAYERS=${GPUPROBE_LAYERS:?}/cpu_as_gpu.so:)"
    "$GPUPROBE_LAYERS/fault.so;";

Outcome run(const std::string& environment = "", const Lines& arguments = {}) {
  return RunProbe({arguments, kMachine + environment});
}

/// function -> calls that were made, and of them those that were made to fail.
std::map<std::string, std::pair<unsigned, unsigned>> countsOf(const Outcome& outcome) {
  std::map<std::string, std::pair<unsigned, unsigned>> counts;
  for (const std::string& line : outcome.log) {
    std::istringstream words(line);
    std::string call, function, struck;
    words >> call >> function >> struck;
    ++counts[function].first;
    if (!struck.empty()) ++counts[function].second;
  }
  return counts;
}

void expectNothingLeft(const Outcome& outcome) {
  auto counts = countsOf(outcome);
  const auto made = [&](const char* function) {
    return counts[function].first - counts[function].second;
  };
  for (const auto& [create, release] : {std::pair("clCreateContext", "clReleaseContext"),
                                        {"clCreateCommandQueue", "clReleaseCommandQueue"},
                                        {"clCreateBuffer", "clReleaseMemObject"}})
    EXPECT_EQ(made(create), counts[release].first);
  EXPECT_EQ(made("clEnqueueCopyBuffer") + made("clEnqueueNDRangeKernel"),
            counts["clReleaseEvent"].first);
}

/// The lines of one report that another lacks.
Lines lacking(const Lines& lines, const Lines& in) {
  Lines result;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(result),
               [&](const std::string& line) { return !std::count(in.begin(), in.end(), line); });
  return result;
}

// Every call that is made once, and some of the batches of copies: at most its question is lost,
// with one failure told, and all that was made is released.
TEST(LinuxOpenCLFaults, CostTheirQuestionAndLeaveNothing) {
  const Outcome healthy = run("", {"-exit=7"});
  ASSERT_THAT(healthy.out, Contains("NumCLGPUs=1"));
  unsigned calls = 0;
  for (const auto& [function, count] : countsOf(healthy)) calls += count.first;
  for (unsigned call = 5; call <= calls; call += call < 33 || call + 19 > calls ? 1 : 61) {
    SCOPED_TRACE(call);
    const Outcome outcome = run("GPUPROBE_FAULT=*:" + std::to_string(call) + ":error", {"-exit=7"});
    std::string failing;
    for (const auto& [function, count] : countsOf(outcome))
      if (count.second) failing += function;
    SCOPED_TRACE(failing);
    ASSERT_FALSE(outcome.out.empty());
    EXPECT_EQ(outcome.out.back(), "snifferEnd=...");
    expectNothingLeft(outcome);
    EXPECT_THAT(outcome.err, SizeIs(Le(2)));
    const std::string first = outcome.err.empty() ? "" : outcome.err[0];
    EXPECT_THAT(outcome.err, Each(AnyOf(first, "exception: " + first)));
    const Lines lost = lacking(healthy.out, outcome.out), added = lacking(outcome.out, healthy.out);
    const bool silent = failing == "clFinish" || failing.rfind("clRelease", 0) == 0;
    const bool skipped = failing == "clGetDeviceIDs";
    EXPECT_THAT(lost, SizeIs(Le(silent ? 0U : skipped ? healthy.out.size() : 1U)));
    // What stands for no answer.
    const Lines none = {skipped ? "NumCLGPUs=0" : "clgpu[0].IsIntegratedCLGPU=0"};
    EXPECT_THAT(added, AnyOf(IsEmpty(), none));
    EXPECT_EQ(outcome.code, lost.empty() || !added.empty() ? 7 : 2);
    EXPECT_EQ(outcome.err.empty(), silent || (!added.empty() && !skipped));
  }
  const Outcome ended = run("GPUPROBE_FAULT=clGetPlatformIDs:3:error=-6");
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.out, Not(Contains(StartsWith("NumCLGPUs"))));
  EXPECT_EQ(ended.err, Lines{"ZOR::LogicalException: clGetPlatformIDs: status -6"});
}

TEST(LinuxOpenCLFaults, OfOtherKinds) {
  const Lines healthy = run().out;
  const Outcome slow = run("GPUPROBE_FAULT=clFinish:1:sleep=500");
  EXPECT_GE(slow.seconds, 0.5);
  EXPECT_EQ(slow.out, healthy);
  // What a driver prints never meets a line of the report.
  const Outcome chatty = run("GPUPROBE_FAULT=*:*:noise", {"-verbose=1"});
  EXPECT_EQ(chatty.report, healthy);
  EXPECT_THAT(chatty.comments, Each(Not(HasSubstr("driver's"))));
  EXPECT_THAT(chatty.err, Contains(HasSubstr("driver's half line driver's half line ")));
  const Outcome crashed = run("GPUPROBE_FAULT=clBuildProgram:1:crash", {"-verbose=1"});
  EXPECT_EQ(crashed.signal, SIGSEGV);
  ASSERT_FALSE(crashed.report.empty());
  EXPECT_EQ(crashed.report.back(), "clgpu[0].CLBandwidth=...");
  EXPECT_THAT(run("GPUPROBE_FAULT=clEnqueueCopyBuffer:*:error").text,
              HasSubstr("clgpu[0].CLBandwidth=0"));
}

struct Machine {
  const char* name;
  const char* environment;
  const char* count;  // empty: no line at all
};

class OpenCLMachines : public TestWithParam<Machine> {};

TEST_P(OpenCLMachines, CountTheirGPUs) {
  const Machine& machine = GetParam();
  const Outcome outcome = run(machine.environment);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.out.back(), "snifferEnd=...");
  Lines counts;
  for (const std::string& line : outcome.out)
    if (line.rfind("NumCLGPUs", 0) == 0) counts.push_back(line);
  EXPECT_EQ(counts, *machine.count ? Lines{std::string("NumCLGPUs=") + machine.count} : Lines());
}

INSTANTIATE_TEST_SUITE_P(
    Linux, OpenCLMachines,
    Values(Machine{"NoLibrary", R"(echo none >"$0/libOpenCL.so.1"; LD_LIBRARY_PATH="$0")", ""},
           Machine{"NoPlatform", R"(rm "$0/pocl.icd";)", "0"},
           Machine{"NoDriver", R"(echo libnone.so >"$0/pocl.icd";)", "0"},
           Machine{"OneDriverMissing", R"(echo libnone.so >"$0/none.icd";)", "1"},
           Machine{"CPUAlone", "OPENCL_LAYERS=", "0"},
           Machine{"TwoDevices", R"(POCL_DEVICES="pthread pthread")", "2"}),
    nameOf);

/// What the driver's own lister says of a property, without the key.
std::string listed(const std::string& environment, const std::string& property) {
  const std::string command = "bash -c 'clinfo --raw | sed -n \"s/^\\[[^]]*\\] *" + property +
                              " *//p; s/^ *" + property + " *//p\" | head -n 1'";
  const Outcome outcome = RunProbe({{}, environment, Start().streams, command});
  return outcome.out.empty() ? "" : outcome.out[0];
}

TEST(LinuxOpenCLTexts, AreThoseOfClinfo) {
  const std::string rusticl = std::string(kMachine) +
                              R"(cp /etc/OpenCL/vendors/rusticl.icd "$0"; rm "$0/pocl.icd";)"
                              "export RUSTICL_ENABLE=llvmpipe RUSTICL_DEVICE_TYPE=gpu;";
  for (const std::string& environment : {std::string(kMachine), rusticl}) {
    const auto text = [&](const char* property) {
      return '"' + listed(environment, property) + '"';
    };
    const auto version = [&](const char* property) {
      const std::string all = listed(environment, property);
      EXPECT_EQ(all.rfind("OpenCL ", 0), 0U) << property;
      return '"' + all.substr(all.find(' ') + 1) + '"';
    };
    const unsigned long long bytes =
        std::stoull("0" + listed(environment, "CL_DEVICE_GLOBAL_MEM_SIZE"));
    const Lines expected = {
        "NumCLGPUs=1",
        "clgpu[0].CLPlatformVersion=" + version("CL_PLATFORM_VERSION"),
        "clgpu[0].CLDeviceVersion=" + version("CL_DEVICE_VERSION"),
        "clgpu[0].CLMemoryMB=" + std::to_string(bytes >> 20),
        "clgpu[0].CLName=" + text("CL_DEVICE_NAME"),
        "clgpu[0].CLVendor=" + text("CL_DEVICE_VENDOR"),
        "clgpu[0].CLDriverVersion=" + text("CL_DRIVER_VERSION"),
    };
    const Outcome outcome = RunProbe({{}, environment});
    EXPECT_EQ(outcome.code, 0);
    for (const std::string& line : expected) EXPECT_THAT(outcome.out, Contains(line));
  }
}

}  // namespace
