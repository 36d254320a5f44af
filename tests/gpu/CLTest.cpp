#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <boost/make_shared.hpp>

#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGPUImpl.h"
#include "tests/support/GoldenReport.h"
#include "tests/support/LogCapture.h"

namespace {

TEST(CLTexts, PlatformVersionIsTakenApart) {
  using std::string_literals::operator""s;
  const std::array<std::string, 3> table[] = {
      {"OpenCL 1.2 CUDA 10.1.120", "1.2", "10.1.120"},
      {"OpenCL 3.0 ", "3.0 ", ""},
      {"OpenCL 1.2 CUDA", "1.2 CUDA", ""},
      {"OpenCL  CUDA 9", "", "9"},
      {"OpenCL 1 CUDA 9 CUDA 8", "1", "9 CUDA 8"},
      {"Vendor 7 CUDA 6", "Vendor 7", "6"},
      {"", "", ""},
      {"OpenCL 1.2\0 CUDA 9"s, "1.2", ""},
      {"OpenCL 1.2 CUDA 9\0\0"s, "1.2", "9"},
  };
  FakeCL fake;
  Hardware hardware(fake.device());
  for (const auto& [text, platform, cuda] : table) {
    fake.platforms[0].version = text;
    EXPECT_EQ(hardware.DoGetCLPlatformVersion(), platform) << text;
    EXPECT_EQ(hardware.DoGetCUDAVersion(), cuda) << text;
    EXPECT_EQ(hardware.DoIsCUDASupported(), !cuda.empty()) << text;
  }
}

// They end at their first NUL; whatever a driver says of a size, or at either call, ends that
// question and no other.
TEST(CLTexts, AnswerOrFailWithTheirOwnMessage) {
  const struct {
    std::string (GPUImplHardware::*ask)();
    cl_uint property;
    std::string text;
    const char* answer;
    const char* failure;
  } table[] = {
      {&GPUImplHardware::DoGetCLPlatformVersion, CL_PLATFORM_VERSION, "", "1.2 Fake",
       "clGetPlatformInfo: status "},
      {&GPUImplHardware::DoGetCLName, CL_DEVICE_NAME, "Board X", "Board X",
       "clGetDeviceInfo: status "},
      {&GPUImplHardware::DoGetCLVendor, CL_DEVICE_VENDOR, "", "", "clGetDeviceInfo: status "},
      {&GPUImplHardware::DoGetCLDriverVersion, CL_DRIVER_VERSION, "OpenCL 9", "OpenCL 9",
       "clGetDeviceInfo failed"},
      {&GPUImplHardware::DoGetCLDeviceVersion, CL_DEVICE_VERSION, "OpenCL 1.2 AMD-APP (1800.11)",
       "1.2 AMD-APP (1800.11)", "Failed requirement: status == CL_SUCCESS"},
  };
  for (const auto& [ask, property, text, answer, failure] : table) {
    FakeCL fake;
    fake.properties[property] = text + std::string("\0\0more\0", 7);
    Hardware hardware(fake.device());
    std::string result;
    const auto question = [&, asks = ask] {
      fake.counts.clear();
      return failureOf([&] { result = (hardware.*asks)(); });
    };
    EXPECT_EQ(question() + result, std::string("none") + answer);
    for (const unsigned call : {1U, 2U}) {
      const bool platform = property == CL_PLATFORM_VERSION;
      fake.statuses = {{platform ? "clGetPlatformInfo" : "clGetDeviceInfo", {{call, -5}}}};
      EXPECT_THAT(question(), testing::StartsWith(failure)) << call;
    }
    fake.statuses.clear();
    for (const size_t size : {~size_t{0}, size_t{1} << 33, size_t{0}}) {
      fake.claimedSizes[property] = size;
      EXPECT_THAT(question(), testing::StartsWith(size ? failure : "none")) << size;
    }
    // A driver without a text may have no terminator either.
    EXPECT_EQ(result, "");
  }
}

TEST(CLNumbers, AreTheDevicesOwn) {
  FakeCL fake;
  Hardware hardware(fake.device());
  for (const auto& [bytes, mebibytes] : std::map<cl_ulong, unsigned>{
           {1'610'612'736, 1536}, {1'048'575, 0}, {cl_ulong{1} << 40, 1U << 20}}) {
    fake.set(CL_DEVICE_GLOBAL_MEM_SIZE, bytes);
    EXPECT_EQ(hardware.DoGetCLMemoryMB(), mebibytes);
  }
  fake.set(CL_DEVICE_VENDOR_ID, cl_uint{0xFFFF10DE});
  EXPECT_EQ(hardware.DoGetCLVendorID(), 0xFFFF10DE);
  EXPECT_FALSE(hardware.DoIsIntegratedCLGPU()) << "the driver knows no such property";
  for (const cl_bool unified : {0U, 1U, 7U}) {
    fake.set(CL_DEVICE_HOST_UNIFIED_MEMORY, unified);
    EXPECT_EQ(hardware.DoIsIntegratedCLGPU(), unified != 0);
  }
}

TEST(CLList, HoldsTheGPUsOfAllPlatforms) {
  FakeCL fake;
  fakeMachine = {};
  fakeMachine.make = [] { return boost::make_shared<Hardware>(); };
  fake.platforms = {{"OpenCL 1 CUDA 2", {CL_DEVICE_TYPE_CPU, CL_DEVICE_TYPE_GPU}, "A\nB\r"},
                    {"OpenCL 3", {CL_DEVICE_TYPE_CPU}},
                    {"OpenCL 4", {CL_DEVICE_TYPE_GPU, CL_DEVICE_TYPE_GPU}}};
  const auto versions = [] {
    std::string text;
    for (const auto& gpu : Hardware().DoGetCLGPUs())
      text += gpu->Version() + (dynamic_cast<CLGPU&>(*gpu).CUDASupported() ? "! " : " ");
    return text;
  };
  EXPECT_EQ(versions(), "1! 4 4 ");
  EXPECT_THAT(fake.calls, testing::Contains("clGetDeviceIDs(p, 4, 0, 0, p)"));

  // A bad platform costs its own devices only; its name may be asked for in vain, too.
  for (const bool named : {true, false}) {
    fake.counts.clear();
    fake.statuses = {{"clGetDeviceIDs", {{named ? 1U : 2U, -6}}},
                     {"clGetPlatformInfo", {{1, named ? 0 : -6}}}};
    testing::internal::CaptureStderr();
    EXPECT_EQ(Hardware().DoGetCLGPUs().size(), 2U);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("OpenCL platform \"") + (named ? "A B" : "?") +
                  "\" left out: clGetDeviceIDs: status -6\n");
  }
  // A device or a platform that goes between the two calls is not there.
  fake.statuses.clear();
  fake.gone = 1;
  fake.platforms.emplace_back();
  EXPECT_EQ(versions(), "4 ");
  fake.counts.clear();
  fake.statuses = {{"clGetPlatformIDs", {{1, -6}}}};
  EXPECT_THROW(Hardware().DoGetCLGPUs(), ZOR::LogicalException);
  fakeMachine = {};
}

double bandwidth(FakeCL& fake) {
  return Hardware(fake.device()).DoGetCLBandwidth();
}

TEST(CLBandwidth, IsTheBestBatchs) {
  const struct {
    // So many copies of so many milliseconds; the last length holds for all later ones.
    std::vector<std::pair<size_t, int>> times;
    double result;
    unsigned copies;
  } table[] = {
      {{{1, 5}}, 6'710'886'400.0, 100},
      {{{1, 0}}, 0.0, 100},
      // More than a second, or exactly one, is enough.
      {{{1, 40}}, 838'860'800.0, 30},
      {{{1, 1000}, {1, 0}}, 335'544'320.0, 10},
      {{{10, 0}, {1, 64}}, 524'288'000.0, 30},
      {{{10, 20}, {10, 10}, {1, 80}}, 3'355'443'200.0, 30},
      // An end before its start.
      {{{1, -1}, {1, 0}}, 335'544'320.0 / 18446744073.709551, 10},
  };
  for (const auto& [times, result, copies] : table) {
    SCOPED_TRACE(result);
    FakeCL fake;
    fake.times.clear();
    for (const auto& [count, length] : times)
      fake.times.insert(fake.times.end(), count,
                        {7, static_cast<cl_ulong>(7 + length * 1'000'000)});
    EXPECT_NEAR(bandwidth(fake), result, result * 1e-9);
    EXPECT_EQ(fake.counts["clEnqueueCopyBuffer"], copies);
    EXPECT_EQ(fake.counts["clFinish"], copies / 10 + 2);
  }
}

// A copy or one of its times, a start or an end: the others of its batch must not make it the best
// one, and the batches after it do.
TEST(CLBandwidth, SkipsAFailedBatch) {
  for (const char* function : {"clEnqueueCopyBuffer", "clGetEventProfilingInfo"}) {
    for (const unsigned call : {1U, 2U, 10U, 20U}) {
      FakeCL fake;
      fake.statuses[function][call] = -4;
      testing::internal::CaptureStderr();
      EXPECT_DOUBLE_EQ(bandwidth(fake), 6'710'886'400.0);
      EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(kCLRequirement) + "\n");
    }
  }
}

const auto kMeasurements = {&GPUImplHardware::DoGetCLBandwidth, &GPUImplHardware::DoGetCLCompute};

// Their calls, what they log and the kernel.
TEST(CLMeasurements, MakeTheirCallsInOrder) {
  std::string story;
  for (const auto ask : kMeasurements) {
    FakeCL fake;
    fake.times = {{1000, 250'001'000}};
    LogCapture log;
    story += std::to_string((Hardware(fake.device()).*ask)()) + '\n';
    story += joined(fake.calls) + log.text;
  }
  EXPECT_EQ(story, joined(goldenLines("measurements")));
}

/// What is said of a failing call: the library's text, the question's own, or nothing.
std::string messageOf(const std::string& function) {
  if (function == "clFinish" || function.rfind("clRelease", 0) == 0) return "none";
  const bool ofLibrary = function == "clGetDeviceInfo" || function == "clCreateContext" ||
                         function == "clCreateCommandQueue";
  return ofLibrary ? function + ": status -5" : kCLRequirement;
}

// FakeCL's end checks that nothing is left, however far the question came.
TEST(CLMeasurements, EachCallFailsInTurn) {
  for (const auto ask : kMeasurements) {
    std::map<std::string, unsigned> counts;
    {
      FakeCL healthy;
      (Hardware(healthy.device()).*ask)();
      counts = healthy.counts;
    }
    for (const auto& [function, count] : counts) {
      // Those of a batch cost that batch.
      if (counts.count("clEnqueueCopyBuffer") &&
          (function == "clEnqueueCopyBuffer" || function == "clGetEventProfilingInfo"))
        continue;
      for (unsigned call = 1; call <= count; ++call) {
        FakeCL fake;
        fake.statuses[function][call] = -5;
        Hardware hardware(fake.device());
        EXPECT_EQ(failureOf([&, asks = ask] { (hardware.*asks)(); }), messageOf(function)) << call;
      }
    }
  }
}

}  // namespace
