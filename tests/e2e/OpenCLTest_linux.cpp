#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <map>
#include <sstream>
#include <utility>

#include "Probe.h"

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

Lines without(Lines lines, const std::string& start) {
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.rfind(start, 0) == 0; }),
              lines.end());
  return lines;
}

/// function -> calls that were made, and of them those that were made to fail.
std::map<std::string, std::pair<unsigned, unsigned>> countsOf(const Outcome& outcome) {
  std::map<std::string, std::pair<unsigned, unsigned>> counts;
  for (const std::string& line : outcome.log) {
    std::istringstream words(line);
    std::string function;
    words >> function >> counts[function].first >> counts[function].second;
  }
  return counts;
}

void expectNothingLeft(const Outcome& outcome) {
  auto counts = countsOf(outcome);
  const auto made = [&](const char* function) {
    return counts[function].first - counts[function].second;
  };
  EXPECT_EQ(made("clCreateContext"), counts["clReleaseContext"].first);
  EXPECT_EQ(made("clCreateCommandQueue"), counts["clReleaseCommandQueue"].first);
  EXPECT_EQ(made("clCreateBuffer"), counts["clReleaseMemObject"].first);
  EXPECT_EQ(made("clCreateProgramWithSource"), counts["clReleaseProgram"].first);
  EXPECT_EQ(made("clCreateKernel"), counts["clReleaseKernel"].first);
  EXPECT_EQ(made("clEnqueueCopyBuffer") + made("clEnqueueNDRangeKernel"),
            counts["clReleaseEvent"].first);
}

constexpr char kRequirement[] = "Failed requirement: ciErrNum == CL_SUCCESS";
constexpr char kEndOfRun[] = "end";
constexpr char kSkippedBatch[] = "batch";

/// What a status other than success does to the calls of a function up to that number.
struct Effect {
  const char* function;
  unsigned last;
  const char* lost;     // the key without an answer; null when every key has its own
  const char* message;  // null: the library's, "call: status N"
};

constexpr Effect kEffects[] = {
    {"clGetPlatformIDs", 4, kEndOfRun, nullptr},
    {"clGetDeviceIDs", 2, kEndOfRun, nullptr},
    {"clGetPlatformInfo", 2, "CLPlatformVersion", nullptr},
    {"clGetPlatformInfo", 4, "CUDASupported", nullptr},
    {"clGetPlatformInfo", 6, "CUDAVersion", nullptr},
    {"clGetDeviceInfo", 1, "CLPlatformVersion", nullptr},
    {"clGetDeviceInfo", 3, "CLDeviceVersion", "Failed requirement: status == CL_SUCCESS"},
    {"clGetDeviceInfo", 4, "IsIntegratedCLGPU", ""},
    {"clGetDeviceInfo", 5, "CLMemoryMB", nullptr},
    {"clGetDeviceInfo", 7, "CLName", nullptr},
    {"clGetDeviceInfo", 9, "CLVendor", nullptr},
    {"clGetDeviceInfo", 10, "CLVendorID", nullptr},
    {"clGetDeviceInfo", 12, "CLDriverVersion", "clGetDeviceInfo failed"},
    {"clGetDeviceInfo", 13, "CUDASupported", nullptr},
    {"clGetDeviceInfo", 14, "CUDAVersion", nullptr},
    {"clGetDeviceInfo", 15, "CLBandwidth", nullptr},
    {"clGetDeviceInfo", 16, "CLCompute", nullptr},
    {"clCreateContext", 1, "CLBandwidth", nullptr},
    {"clCreateContext", 2, "CLCompute", nullptr},
    {"clCreateCommandQueue", 1, "CLBandwidth", nullptr},
    {"clCreateCommandQueue", 2, "CLCompute", nullptr},
    {"clCreateBuffer", 2, "CLBandwidth", kRequirement},
    {"clCreateBuffer", 3, "CLCompute", kRequirement},
    {"clEnqueueCopyBuffer", 100, kSkippedBatch, kRequirement},
    {"clFinish", 12, "", ""},
    {"clGetEventProfilingInfo", 202, "", ""},
    {"clCreateProgramWithSource", 1, "CLCompute", kRequirement},
    {"clBuildProgram", 1, "CLCompute", kRequirement},
    {"clCreateKernel", 1, "CLCompute", kRequirement},
    {"clSetKernelArg", 2, "CLCompute", kRequirement},
    {"clEnqueueNDRangeKernel", 1, "CLCompute", kRequirement},
    {"clWaitForEvents", 1, "CLCompute", kRequirement},
    {"clReleaseEvent", 101, "", ""},
    {"clReleaseMemObject", 3, "", ""},
    {"clReleaseKernel", 1, "", ""},
    {"clReleaseProgram", 1, "", ""},
    {"clReleaseCommandQueue", 2, "", ""},
    {"clReleaseContext", 2, "", ""}};

/// Standard error of a question that ended with the effect's message.
Lines errorsOf(const Effect& effect) {
  if (!effect.message)
    return {std::string("ZOR::LogicalException: ") + effect.function + ": status -5"};
  const std::string message = effect.message;
  if (message.empty()) return {};
  if (effect.lost == kSkippedBatch) return {message};
  return {message, "exception: " + message};
}

void expectEffect(const Effect& effect, const Lines& healthy, const Outcome& outcome) {
  const bool counted = !effect.message || (*effect.message && effect.lost != kSkippedBatch);
  EXPECT_EQ(outcome.code, counted ? 2 : 0);
  expectNothingLeft(outcome);
  if (effect.lost == kEndOfRun) {
    EXPECT_EQ(outcome.out, Lines(healthy.begin(), healthy.begin() + long(outcome.out.size())));
    EXPECT_EQ(without(outcome.out, "NumCLGPUs"), outcome.out);
    EXPECT_THAT(outcome.err, ElementsAre(HasSubstr(std::string(effect.function) + ": status -5")));
    return;
  }
  EXPECT_EQ(outcome.err, errorsOf(effect));
  const std::string key = "clgpu[0]." + std::string(effect.lost) + "=";
  Lines expected = healthy;
  if (counted) expected = without(healthy, key);
  if (effect.lost == std::string("IsIntegratedCLGPU"))
    std::replace(expected.begin(), expected.end(), key + "1", key + "0");
  EXPECT_EQ(outcome.out, expected);
}

TEST(LinuxOpenCLFaults, EachCallFailsInTurn) {
  const Outcome healthy = run();
  ASSERT_EQ(healthy.code, 0);
  ASSERT_THAT(healthy.out, Contains("NumCLGPUs=1"));
  expectNothingLeft(healthy);
  auto counts = countsOf(healthy);
  unsigned failed = 0;
  const char* function = "";
  unsigned call = 0;
  for (const Effect& effect : kEffects) {
    if (std::exchange(function, effect.function) != std::string(effect.function)) call = 0;
    while (call < effect.last) {
      const std::string fault = function + (":" + std::to_string(++call)) + ":-5";
      SCOPED_TRACE(fault);
      const Outcome outcome = run("CL_FAULT=" + fault);
      ASSERT_EQ(countsOf(outcome)[function].second, 1U);
      expectEffect(effect, healthy.out, outcome);
      ++failed;
    }
    counts[function].first = counts[function].first > call ? counts[function].first : 0;
  }
  for (const auto& [name, count] : counts) EXPECT_EQ(count.first, 0U) << name << " has more calls";
  std::cout << failed << " OpenCL calls were made to fail" << std::endl;
}

TEST(LinuxOpenCLFaults, OfOtherKinds) {
  const Lines healthy = run().out;
  for (const char* size : {"0", "1", "1048577", "18446744073709551615"}) {
    const Outcome sized = run(std::string("CL_FAULT=clGetDeviceInfo:2:size=") + size);
    // With room for the terminator alone the driver itself refuses.
    EXPECT_THAT(sized.err, Contains("Failed requirement: status == CL_SUCCESS")) << size;
    EXPECT_EQ(sized.out, without(healthy, "clgpu[0].CLDeviceVersion=")) << size;
  }
  const Outcome slow = run("CL_FAULT=clFinish:1:sleep=500");
  EXPECT_GE(slow.seconds, 0.5);
  EXPECT_EQ(slow.out, healthy);
  const Outcome crashed = run("CL_FAULT=clBuildProgram:1:crash", {"-verbose=1"});
  EXPECT_EQ(crashed.signal, SIGILL);
  ASSERT_FALSE(crashed.report.empty());
  EXPECT_EQ(crashed.report.back(), "clgpu[0].CLBandwidth=...");
  EXPECT_THAT(run("CL_FAULT=clEnqueueCopyBuffer:*:-5").text, HasSubstr("clgpu[0].CLBandwidth=0"));
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
  Lines computes;
  for (const std::string& line : outcome.out)
    if (line.find(".CLCompute=") != std::string::npos) computes.push_back(line);
  EXPECT_EQ(std::to_string(computes.size()), *machine.count ? machine.count : "0");
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
