#include <gmock/gmock.h>

#include <regex>
#include <sstream>

#include "tests/gpu/Hardware.h"
#include "tests/support/LogCapture.h"

namespace {

using testing::ElementsAre;
using Times = std::vector<std::pair<cl_ulong, cl_ulong>>;

constexpr cl_ulong kMillisecond = 1'000'000;

/// Ten copies of one batch, each of the same length in nanoseconds.
Times batch(cl_ulong length) {
  return Times(10, {7, 7 + length});
}

Times joined(std::initializer_list<Times> batches) {
  Times all;
  for (const Times& times : batches) all.insert(all.end(), times.begin(), times.end());
  return all;
}

double bandwidth(FakeCL& fake) {
  return Hardware(fake.device()).DoGetCLBandwidth();
}

/// Without the statements' line numbers.
std::vector<std::string> linesOf(LogCapture& log) {
  std::istringstream text(log.take());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);)
    lines.push_back(line.substr(line.find(' ') + 1));
  return lines;
}

struct Profile {
  const char* name;
  Times times;
  double result;
  unsigned copies;
};

TEST(CLBandwidth, IsTheBestBatchs) {
  const double forever = static_cast<double>(cl_ulong{0} - 1) * 1e-9;
  const Profile table[] = {
      {"50 ms", batch(5 * kMillisecond), 6'710'886'400.0, 100},
      {"no time at all", batch(0), 0.0, 100},
      {"stops after a second", batch(40 * kMillisecond), 838'860'800.0, 30},
      {"exactly a second", joined({{{0, 1000 * kMillisecond}}, batch(0)}), 335'544'320.0, 10},
      {"zero-time batches count", joined({batch(0), batch(64 * kMillisecond)}), 524'288'000.0, 30},
      {"best of several",
       joined({batch(20 * kMillisecond), batch(10 * kMillisecond), batch(80 * kMillisecond)}),
       3'355'443'200.0, 30},
      {"one slow copy",
       joined({Times(9, {1, 1}), {{0, 50 * kMillisecond}}, batch(5 * kMillisecond)}),
       6'710'886'400.0, 100},
      {"end before start", joined({{{1, 0}}, Times(9, {1, 1})}), 335'544'320.0 / forever, 10},
  };
  for (const Profile& profile : table) {
    FakeCL fake;
    fake.times = profile.times;
    EXPECT_NEAR(bandwidth(fake) / (profile.result ? profile.result : 1), profile.result ? 1 : 0,
                1e-9)
        << profile.name;
    EXPECT_EQ(fake.counts["clEnqueueCopyBuffer"], profile.copies) << profile.name;
    EXPECT_EQ(fake.counts["clReleaseEvent"], profile.copies) << profile.name;
    EXPECT_EQ(fake.counts["clFinish"], profile.copies / 10 + 2) << profile.name;
  }
}

TEST(CLBandwidth, SkipsAFailedBatch) {
  for (const unsigned copy : {1U, 5U, 10U}) {
    for (const bool everyBatch : {false, true}) {
      FakeCL fake;
      // A failing batch ends at its failing copy, so the next begins after it.
      for (unsigned i = 1; i <= (everyBatch ? 10 : 1); ++i)
        fake.statuses["clEnqueueCopyBuffer"][i * copy] = -4;
      testing::internal::CaptureStderr();
      EXPECT_DOUBLE_EQ(bandwidth(fake), everyBatch ? 0.0 : 6'710'886'400.0) << copy;
      const std::string errors = testing::internal::GetCapturedStderr();
      EXPECT_EQ(errors.size(), (everyBatch ? 10 : 1) * sizeof kCLRequirement);
      EXPECT_EQ(fake.counts["clEnqueueCopyBuffer"], copy * 10 + (everyBatch ? 0 : 90 - copy * 9));
      EXPECT_EQ(fake.counts["clGetEventProfilingInfo"], everyBatch ? 0U : 180U);
    }
  }
  // One refused time, a start or an end: the others of its batch must not make it the best one.
  for (const unsigned call : {1U, 2U, 9U, 20U}) {
    FakeCL fake;
    fake.statuses["clGetEventProfilingInfo"][call] = -7;
    testing::internal::CaptureStderr();
    EXPECT_DOUBLE_EQ(bandwidth(fake), 6'710'886'400.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), std::string(kCLRequirement) + "\n");
    EXPECT_EQ(fake.counts["clGetEventProfilingInfo"], 180 + call);
  }
}

TEST(CLBandwidth, MakesItsCallsInOrder) {
  FakeCL fake;
  fake.times = batch(125 * kMillisecond);
  LogCapture log;
  bandwidth(fake);
  std::vector<std::string> expected = {
      "clGetDeviceInfo(p, 4145, 8, p, 0)",    "clCreateContext(p, 1, p, 0, 0, p)",
      "clCreateCommandQueue(p, p, 2, p)",     "clCreateBuffer(p, 4, 16777216, 0, p)",
      "clCreateBuffer(p, 2, 16777216, 0, p)", "clFinish(p)"};
  const auto add = [&](size_t times, std::vector<std::string> calls) {
    for (; times > 0; --times) expected.insert(expected.end(), calls.begin(), calls.end());
  };
  add(10, {"clEnqueueCopyBuffer(p, p, p, 0, 0, 16777216, 0, 0, p)"});
  add(1, {"clFinish(p)"});
  add(10,
      {"clGetEventProfilingInfo(p, 4739, 8, p, 0)", "clGetEventProfilingInfo(p, 4738, 8, p, 0)"});
  add(1, {"clFinish(p)"});
  add(10, {"clReleaseEvent(p)"});
  add(2, {"clReleaseMemObject(p)"});
  add(1, {"clReleaseCommandQueue(p)", "clReleaseContext(p)"});
  EXPECT_EQ(fake.calls, expected);

  const std::string check = "GPUImplHardware::checkBandwidthCL";
  const std::string operation = "GPUImplHardware::DoGetCLBandwidth";
  EXPECT_THAT(
      linesOf(log),
      ElementsAre(operation + ": ZOR::OCL::Context context(properties, *iDev);",
                  operation + ": ZOR::OCL::CommandQueue cq(context, *iDev, false, true);",
                  check + ": clCreateBuffer d_idata nbytes=16777216",
                  check + ": clCreateBuffer d_odata nbytes=16777216", check + ": clFinish",
                  check + ": copy 100 iterations",
                  "GPUImplHardware::timeBandwidthCL: totalSeconds=1.25", check + ": seconds=1.25",
                  check + ": totalSeconds=1.25, BW=2.68435e+08, maxBW=2.68435e+08",
                  check + ": clFinish", check + ": releasing", check + ": result=2.68435e+08",
                  "bytesPerSecond=2.68435e+08", operation + ": result=2.68435e+08"));
}

TEST(CLCompute, MakesItsCallsInOrder) {
  FakeCL fake;
  fake.times = {{1000, 250'001'000}};
  LogCapture log;
  EXPECT_DOUBLE_EQ(Hardware(fake.device()).DoGetCLCompute(), 0.25);
  EXPECT_THAT(
      fake.calls,
      ElementsAre(
          "clGetDeviceInfo(p, 4145, 8, p, 0)", "clCreateContext(p, 1, p, 0, 0, p)",
          "clCreateCommandQueue(p, p, 2, p)", "clCreateProgramWithSource(p, 1, p, 0, p)",
          "clBuildProgram(p, 0, 0, 0, 0, 0)", "clCreateKernel(p, justIterate, p)",
          "clCreateBuffer(p, 33, 4194304, p, p)", testing::StartsWith("clSetKernelArg(p, 0, 8, "),
          "clSetKernelArg(p, 1, 4, 1048576)",
          "clEnqueueNDRangeKernel(p, p, 1, 0, 1048576, 64, 0, 0, p)", "clWaitForEvents(1, p)",
          "clGetEventProfilingInfo(p, 4739, 8, p, 0)", "clGetEventProfilingInfo(p, 4738, 8, p, 0)",
          "clReleaseEvent(p)", "clReleaseMemObject(p)", "clReleaseKernel(p)", "clReleaseProgram(p)",
          "clReleaseCommandQueue(p)", "clReleaseContext(p)"));
  EXPECT_EQ(std::regex_replace(fake.source, std::regex("\t{7}"), "|"),
            "__kernel void justIterate( __global float* v, unsigned int len ){|"
            "  int gid = get_global_id(0);|  if(gid>=len) return;|  float data = v[gid];|"
            "  float variant = (float)(gid % 3);|  for ( int i = 0 ; i < 4096; i++){|"
            "  data = data  *  1.2f * variant ;|  }|  v [ gid ] = data ;|  }");
  const std::string operation = "GPUImplHardware::DoGetCLCompute";
  EXPECT_THAT(linesOf(log),
              ElementsAre(operation + ": ZOR::OCL::Context context(properties, *iDev);",
                          operation + ": ZOR::OCL::CommandQueue cq(context, *iDev, false, true);",
                          "GPUImplHardware::MeasureCLCompute: result=0.25",
                          "timeForKernelExecution=0.25", operation + ": result=0.25"));
}

/// What is said of a failing call: the library's text, the question's own, or nothing.
std::string messageOf(const std::string& function) {
  for (const char* ours : {"clGetDeviceInfo", "clCreateContext", "clCreateCommandQueue"})
    if (function == ours) return function + ": status -5";
  for (const char* ignored : {"clFinish", "clRelease"})
    if (function.rfind(ignored, 0) == 0) return "none";
  return kCLRequirement;
}

// FakeCL's end checks that nothing is left, however far the question came.
TEST(CLMeasurements, EachCallFailsInTurn) {
  for (const auto question :
       {&GPUImplHardware::DoGetCLBandwidth, &GPUImplHardware::DoGetCLCompute}) {
    const auto ask = [&](FakeCL& fake) {
      Hardware hardware(fake.device());
      (hardware.*question)();
      return fake.counts;
    };
    const auto counts = [&] {
      FakeCL fake;
      return ask(fake);
    }();
    for (const auto& [function, count] : counts) {
      const bool bandwidth = question == &GPUImplHardware::DoGetCLBandwidth;
      if (function == "clEnqueueCopyBuffer") continue;
      if (function == "clGetEventProfilingInfo" && bandwidth) continue;
      for (unsigned call = 1; call <= count; ++call) {
        FakeCL fake;
        fake.statuses[function][call] = -5;
        EXPECT_EQ(failureOf([&] { ask(fake); }), messageOf(function)) << function << call;
      }
    }
  }
}

}  // namespace
