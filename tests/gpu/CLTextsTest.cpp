#include <gmock/gmock.h>

#include <array>
#include <boost/make_shared.hpp>

#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGPUImpl.h"

namespace {

TEST(CLTexts, PlatformVersionIsTakenApart) {
  using std::string_literals::operator""s;
  const std::array<std::string, 3> table[] = {
      {"OpenCL 1.2 CUDA 10.1.120", "1.2", "10.1.120"},
      {"OpenCL 3.0 ", "3.0 ", ""},
      {"OpenCL 1.2 CUDA ", "1.2", ""},
      {"OpenCL 1.2 CUDA", "1.2 CUDA", ""},
      {"OpenCL CUDA 9", "CUDA 9", ""},
      {"OpenCL  CUDA 9", "", "9"},
      {"OpenCL 1 CUDA 9 CUDA 8", "1", "9 CUDA 8"},
      {"OpenCL OpenCL 1", "OpenCL 1", ""},
      {"Vendor 7 CUDA 6", "Vendor 7", "6"},
      {"opencl 1.2 cuda 9", "opencl 1.2 cuda 9", ""},
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

const struct {
  std::string (GPUImplHardware::*ask)();
  cl_uint property;
  const char* text;
  const char* answer;
  const char* failure;
} kTexts[] = {
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

// They end at their first NUL; whatever a driver says of a size, or at either call, ends that
// question and no other.
TEST(CLTexts, AnswerOrFailWithTheirOwnMessage) {
  for (const auto& [ask, property, text, answer, failure] : kTexts) {
    const auto run = [&, asks = ask, of = property, bytes = text](
                         size_t claimedSize, unsigned failingCall, std::string& result) {
      FakeCL fake;
      fake.properties[of] = bytes + std::string("\0\0more\0", 7);
      if (claimedSize != 1) fake.claimedSizes[of] = claimedSize;
      const bool platform = of == CL_PLATFORM_VERSION;
      fake.statuses[platform ? "clGetPlatformInfo" : "clGetDeviceInfo"][failingCall] = -5;
      Hardware hardware(fake.device());
      return failureOf([&] { result = (hardware.*asks)(); });
    };
    std::string result;
    EXPECT_EQ(run(1, 0, result) + result, std::string("none") + answer);
    // A driver without a text may have no terminator either.
    EXPECT_EQ(run(0, 0, result) + result, "none") << answer;
    for (const size_t size : {~size_t{0}, size_t{1} << 33})
      EXPECT_THAT(run(size, 0, result), testing::StartsWith(failure)) << size;
    for (const unsigned call : {1U, 2U})
      EXPECT_THAT(run(1, call, result), testing::StartsWith(failure)) << call;
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
  fake.platforms = {{"OpenCL 1 CUDA 2", {CL_DEVICE_TYPE_CPU, CL_DEVICE_TYPE_GPU}},
                    {"OpenCL 3", {CL_DEVICE_TYPE_CPU}},
                    {"OpenCL 4", {CL_DEVICE_TYPE_GPU, CL_DEVICE_TYPE_GPU}}};
  std::vector<std::string> versions;
  for (const auto& gpu : Hardware().DoGetCLGPUs()) {
    const auto cl = boost::dynamic_pointer_cast<CLGPU>(gpu);
    versions.push_back(cl->Version() + (cl->CUDASupported() ? "!" : ""));
    EXPECT_EQ(cl->deviceIndex, -1);
    EXPECT_EQ(cl->Compute(), 0.0);  // the slot that measures nothing
  }
  EXPECT_THAT(versions, testing::ElementsAre("1!", "4", "4"));
  EXPECT_THAT(fake.calls, testing::Contains("clGetDeviceIDs(p, 4, 0, 0, p)"));

  // A bad platform costs its own devices only; its name may be asked for in vain, too.
  fake.platforms[0].name = "A\nB\r";
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
  // A device that goes between the two calls is not there.
  fake.statuses.clear();
  fake.gone = 1;
  fake.platforms[2].devices.assign(3, CL_DEVICE_TYPE_GPU);
  fake.platforms.emplace_back();
  EXPECT_EQ(Hardware().DoGetCLGPUs().size(), 2U);
  fake.counts.clear();
  fake.statuses = {{"clGetPlatformIDs", {{1, -6}}}};
  EXPECT_THROW(Hardware().DoGetCLGPUs(), ZOR::LogicalException);
  fakeMachine = {};
}

}  // namespace
