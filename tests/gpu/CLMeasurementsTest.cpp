#include <gmock/gmock.h>

#include <regex>

#include "tests/gpu/Hardware.h"
#include "tests/support/LogCapture.h"

namespace {

using Times = std::vector<std::pair<cl_ulong, cl_ulong>>;

/// Ten copies of one batch, each of the same length in milliseconds.
Times batch(cl_ulong length) {
  return Times(10, {7, 7 + length * 1'000'000});
}

Times joined(std::initializer_list<Times> batches) {
  Times all;
  for (const Times& times : batches) all.insert(all.end(), times.begin(), times.end());
  return all;
}

double bandwidth(FakeCL& fake) {
  return Hardware(fake.device()).DoGetCLBandwidth();
}

TEST(CLBandwidth, IsTheBestBatchs) {
  const struct {
    const char* name;
    Times times;
    double result;
    unsigned copies;
  } table[] = {
      {"50 ms", batch(5), 6'710'886'400.0, 100},
      {"no time at all", batch(0), 0.0, 100},
      {"stops after a second", batch(40), 838'860'800.0, 30},
      {"exactly a second", joined({{{0, 1'000'000'000}}, batch(0)}), 335'544'320.0, 10},
      {"zero-time batches count", joined({batch(0), batch(64)}), 524'288'000.0, 30},
      {"best of several", joined({batch(20), batch(10), batch(80)}), 3'355'443'200.0, 30},
      {"one slow copy", joined({Times(9, {1, 1}), {{0, 50'000'000}}, batch(5)}), 6'710'886'400.0,
       100},
      {"end before start", joined({{{1, 0}}, Times(9, {1, 1})}), 335'544'320.0 / 18446744073.709551,
       10},
  };
  for (const auto& [name, times, result, copies] : table) {
    FakeCL fake;
    fake.times = times;
    EXPECT_NEAR(bandwidth(fake), result, result * 1e-9) << name;
    EXPECT_EQ(fake.counts["clEnqueueCopyBuffer"], copies) << name;
    EXPECT_EQ(fake.counts["clFinish"], copies / 10 + 2) << name;
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
  FakeCL fake;
  for (unsigned call = 1; call <= 100; ++call) fake.statuses["clEnqueueCopyBuffer"][call] = -4;
  testing::internal::CaptureStderr();
  EXPECT_EQ(bandwidth(fake), 0.0);
  EXPECT_EQ(testing::internal::GetCapturedStderr().size(), 10 * sizeof kCLRequirement);
}

/// The calls; of ten equal ones, or pairs of them, the first.
std::string callsOf(const FakeCL& fake) {
  std::string text;
  for (const std::string& call : fake.calls) text += call + ' ';
  return std::regex_replace(text, std::regex("((?:[a-zA-Z]+\\([^)]*\\) ){1,2}?)\\1{9}"), "10 x $1");
}

/// The log without the statements' line numbers and the class before each operation.
std::string linesOf(LogCapture& log) {
  const std::string text = std::regex_replace(log.take(), std::regex("\n"), " | ");
  return std::regex_replace(text, std::regex("(^|\\| )[0-9]+ (GPUImplHardware::)?"), "$1");
}

TEST(CLBandwidth, MakesItsCallsInOrder) {
  FakeCL fake;
  fake.times = batch(125);
  LogCapture log;
  bandwidth(fake);
  EXPECT_EQ(callsOf(fake),
            "clGetDeviceInfo(p, 4145, 8, p, 0) clCreateContext(p, 1, p, 0, 0, p) "
            "clCreateCommandQueue(p, p, 2, p) clCreateBuffer(p, 4, 16777216, 0, p) "
            "clCreateBuffer(p, 2, 16777216, 0, p) clFinish(p) 10 x clEnqueueCopyBuffer(p, p, p, "
            "0, 0, 16777216, 0, 0, p) clFinish(p) 10 x clGetEventProfilingInfo(p, 4739, 8, p, 0) "
            "clGetEventProfilingInfo(p, 4738, 8, p, 0) clFinish(p) 10 x clReleaseEvent(p) "
            "clReleaseMemObject(p) clReleaseMemObject(p) clReleaseCommandQueue(p) "
            "clReleaseContext(p) ");
  EXPECT_EQ(linesOf(log),
            "DoGetCLBandwidth: ZOR::OCL::Context context(properties, *iDev); | DoGetCLBandwidth: "
            "ZOR::OCL::CommandQueue cq(context, *iDev, false, true); | checkBandwidthCL: "
            "clCreateBuffer d_idata nbytes=16777216 | checkBandwidthCL: clCreateBuffer d_odata "
            "nbytes=16777216 | checkBandwidthCL: clFinish | checkBandwidthCL: copy 100 "
            "iterations | timeBandwidthCL: totalSeconds=1.25 | checkBandwidthCL: seconds=1.25 | "
            "checkBandwidthCL: totalSeconds=1.25, BW=2.68435e+08, maxBW=2.68435e+08 | "
            "checkBandwidthCL: clFinish | checkBandwidthCL: releasing | checkBandwidthCL: "
            "result=2.68435e+08 | bytesPerSecond=2.68435e+08 | DoGetCLBandwidth: "
            "result=2.68435e+08 | ");
}

TEST(CLCompute, MakesItsCallsInOrder) {
  FakeCL fake;
  fake.times = {{1000, 250'001'000}};
  LogCapture log;
  EXPECT_DOUBLE_EQ(Hardware(fake.device()).DoGetCLCompute(), 0.25);
  EXPECT_THAT(
      callsOf(fake),
      testing::MatchesRegex(
          "clGetDeviceInfo.p, 4145, 8, p, 0. clCreateContext.p, 1, p, 0, 0, p. "
          "clCreateCommandQueue.p, p, 2, p. clCreateProgramWithSource.p, 1, p, 0, p. "
          "clBuildProgram.p, 0, 0, 0, 0, 0. clCreateKernel.p, justIterate, p. "
          "clCreateBuffer.p, 33, 4194304, p, p. clSetKernelArg.p, 0, 8, .+. "
          "clSetKernelArg.p, 1, 4, 1048576. clEnqueueNDRangeKernel.p, p, 1, 0, 1048576, 64, 0, "
          "0, p. clWaitForEvents.1, p. clGetEventProfilingInfo.p, 4739, 8, p, 0. "
          "clGetEventProfilingInfo.p, 4738, 8, p, 0. clReleaseEvent.p. clReleaseMemObject.p. "
          "clReleaseKernel.p. clReleaseProgram.p. clReleaseCommandQueue.p. clReleaseContext.p. "));
  EXPECT_EQ(std::regex_replace(fake.source, std::regex("\t{7}"), "|"),
            "__kernel void justIterate( __global float* v, unsigned int len ){|"
            "  int gid = get_global_id(0);|  if(gid>=len) return;|  float data = v[gid];|"
            "  float variant = (float)(gid % 3);|  for ( int i = 0 ; i < 4096; i++){|"
            "  data = data  *  1.2f * variant ;|  }|  v [ gid ] = data ;|  }");
  EXPECT_EQ(linesOf(log),
            "DoGetCLCompute: ZOR::OCL::Context context(properties, *iDev); | DoGetCLCompute: "
            "ZOR::OCL::CommandQueue cq(context, *iDev, false, true); | MeasureCLCompute: "
            "result=0.25 | timeForKernelExecution=0.25 | DoGetCLCompute: result=0.25 | ");
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
  for (const auto ask : {&GPUImplHardware::DoGetCLBandwidth, &GPUImplHardware::DoGetCLCompute}) {
    const bool batches = ask == &GPUImplHardware::DoGetCLBandwidth;
    std::map<std::string, unsigned> counts;
    const auto failing = [&](const std::string& function, unsigned call) {
      FakeCL fake;
      fake.statuses[function][call] = -5;
      Hardware hardware(fake.device());
      const std::string failure = failureOf([&] { (hardware.*ask)(); });
      if (call == 0) counts = fake.counts;
      return failure;
    };
    EXPECT_EQ(failing("", 0), "none");
    for (const auto& [function, count] : counts) {
      // Those of a batch cost that batch.
      if (batches && (function == "clEnqueueCopyBuffer" || function == "clGetEventProfilingInfo"))
        continue;
      for (unsigned call = 1; call <= count; ++call)
        EXPECT_EQ(failing(function, call), messageOf(function)) << function << call;
    }
  }
}

}  // namespace
