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
    " CL_SHORT=1 __EGL_VENDOR_LIBRARY_FILENAMES=/none"
    R"( CL_FAULT_COUNTS="$0/log" OPENCL_LAYERS=${GPUPROBE_LAYERS:?}/cpu_as_gpu.so:)"
    "$GPUPROBE_LAYERS/fault.so;";

Outcome run(const std::string& environment = "", const Lines& arguments = {}) {
  return RunProbe({arguments, kMachine + environment});
}

/// function -> calls that were made, and of them those that were made to fail.
using Counts = std::map<std::string, std::pair<unsigned, unsigned>>;

Counts countsOf(const Outcome& outcome) {
  Counts counts;
  for (const std::string& line : outcome.log) {
    std::istringstream words(line);
    std::string function;
    words >> function >> counts[function].first >> counts[function].second;
  }
  return counts;
}

void expectNothingLeft(Counts counts) {
  const auto made = [&](const char* function) {
    return counts[function].first - counts[function].second;
  };
  EXPECT_EQ(made("clCreateContext"), counts["clReleaseContext"].first);
  EXPECT_EQ(made("clCreateCommandQueue"), counts["clReleaseCommandQueue"].first);
  EXPECT_EQ(made("clCreateBuffer"), counts["clReleaseMemObject"].first);
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
    const Outcome outcome = run("CL_FAULT=*:" + std::to_string(call) + ":-5", {"-exit=7"});
    const Counts counts = countsOf(outcome);
    std::string failing;
    for (const auto& [function, count] : counts)
      if (count.second) failing += function;
    SCOPED_TRACE(failing);
    ASSERT_FALSE(outcome.out.empty());
    EXPECT_EQ(outcome.out.back(), "snifferEnd=...");
    expectNothingLeft(counts);
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
  const Outcome ended = run("CL_FAULT=clGetPlatformIDs:3:-6");
  EXPECT_EQ(ended.code, 2);
  EXPECT_THAT(ended.out, Not(Contains(StartsWith("NumCLGPUs"))));
  EXPECT_EQ(ended.err, Lines{"ZOR::LogicalException: clGetPlatformIDs: status -6"});
}

TEST(LinuxOpenCLFaults, OfOtherKinds) {
  const Lines healthy = run().out;
  // What a driver prints never meets a line of the report.
  const Outcome chatty = run("CL_FAULT=*:*:print", {"-verbose=1"});
  EXPECT_EQ(chatty.report, healthy);
  EXPECT_THAT(chatty.comments, Each(Not(HasSubstr("driver's"))));
  for (const char* said : {"] BEGIN GPUSnifferTester::DoRunCLBandwidth",
                           "] END GPUSnifferTester::DoRunCLBandwidth, duration="})
    EXPECT_THAT(chatty.comments, Contains(HasSubstr(said)));
  EXPECT_THAT(chatty.err, Contains(HasSubstr("driver's half line driver's half line ")));
  const Outcome crashed = run("CL_FAULT=clBuildProgram:1:crash", {"-verbose=1"});
  EXPECT_EQ(crashed.signal, SIGILL);
  ASSERT_FALSE(crashed.report.empty());
  EXPECT_EQ(crashed.report.back(), "clgpu[0].CLBandwidth=...");
  EXPECT_THAT(run("CL_FAULT=clEnqueueCopyBuffer:*:-5").text, HasSubstr("clgpu[0].CLBandwidth=0"));
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
