#include <gmock/gmock.h>

#include <boost/make_shared.hpp>

#include "gpu/CLPlatformVersion.h"
#include "tests/gpu/Hardware.h"
#include "tests/support/FakeGPUImpl.h"

namespace {

struct Split {
  std::string text, platform, cuda;
};

TEST(CLPlatformVersion, IsTakenApart) {
  using std::string_literals::operator""s;
  const Split table[] = {
      {"OpenCL 1.2 CUDA 10.1.120", "1.2", "10.1.120"},
      {"OpenCL 3.0 ", "3.0 ", ""},
      {"OpenCL 1.2 CUDA ", "1.2", ""},
      {"OpenCL 1.2 CUDA", "1.2 CUDA", ""},
      {"OpenCL CUDA 9", "CUDA 9", ""},
      {"OpenCL  CUDA 9", "", "9"},
      {"OpenCL 1 CUDA 9 CUDA 8", "1", "9 CUDA 8"},
      {"OpenCL 1 cuda 9", "1 cuda 9", ""},
      {"OpenCL OpenCL 1", "OpenCL 1", ""},
      {"Vendor 7 CUDA 6", "Vendor 7", "6"},
      {"opencl 1.2", "opencl 1.2", ""},
      {"OpenCL", "OpenCL", ""},
      {"OpenCL ", "", ""},
      {"", "", ""},
      {"OpenCL 1.2\0 CUDA 9"s, "1.2", ""},
      {"OpenCL 1.2 CUDA 9\0\0"s, "1.2", "9"},
  };
  for (const auto& [text, platform, cuda] : table) {
    FakeCL fake;
    fake.platforms[0].version = text;
    Hardware hardware(fake.device());
    EXPECT_EQ(hardware.DoGetCLPlatformVersion(), platform) << text;
    EXPECT_EQ(hardware.DoGetCUDAVersion(), cuda) << text;
    EXPECT_EQ(hardware.DoIsCUDASupported(), !cuda.empty()) << text;
  }
}

TEST(CLTexts, EndAtTheirFirstNul) {
  FakeCL fake;
  Hardware hardware(fake.device());
  const std::string tail("\0\0more\0", 7);
  for (const auto& [property, text] :
       std::map<cl_device_info, std::string>{{CL_DEVICE_NAME, "Board X"},
                                             {CL_DEVICE_VENDOR, ""},
                                             {CL_DRIVER_VERSION, "OpenCL 9"},
                                             {CL_DEVICE_VERSION, "OpenCL 1.2 AMD-APP (1800.11)"}})
    fake.properties[property] = text + tail;
  EXPECT_EQ(hardware.DoGetCLName(), "Board X");
  EXPECT_EQ(hardware.DoGetCLVendor(), "");
  EXPECT_EQ(hardware.DoGetCLDriverVersion(), "OpenCL 9");
  EXPECT_EQ(hardware.DoGetCLDeviceVersion(), "1.2 AMD-APP (1800.11)");
  // A driver without a text may have no terminator either.
  fake.claimedSizes = {{CL_DRIVER_VERSION, 0}, {CL_DEVICE_NAME, 0}};
  EXPECT_EQ(hardware.DoGetCLDriverVersion() + hardware.DoGetCLName(), "");
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
  EXPECT_EQ(hardware.DoGetCLComputeScore(), 0.0);
}

struct Question {
  std::string (GPUImplHardware::*ask)();
  cl_uint property;
  const char* failure;
};

// Whatever a driver says of a text's size, or at either call, ends that question and no other.
TEST(CLTexts, FailWithTheirOwnMessage) {
  const Question table[] = {
      {&GPUImplHardware::DoGetCLPlatformVersion, CL_PLATFORM_VERSION, "clGetPlatformInfo: status "},
      {&GPUImplHardware::DoGetCUDAVersion, CL_PLATFORM_VERSION, "clGetPlatformInfo: status "},
      {&GPUImplHardware::DoGetCLName, CL_DEVICE_NAME, "clGetDeviceInfo: status "},
      {&GPUImplHardware::DoGetCLVendor, CL_DEVICE_VENDOR, "clGetDeviceInfo: status "},
      {&GPUImplHardware::DoGetCLDriverVersion, CL_DRIVER_VERSION, "clGetDeviceInfo failed"},
      {&GPUImplHardware::DoGetCLDeviceVersion, CL_DEVICE_VERSION,
       "Failed requirement: status == CL_SUCCESS"},
  };
  for (const auto& [ask, property, failure] : table) {
    const auto run = [&, ask = ask](FakeCL& fake) {
      fake.properties[property] = std::string("?\0", 2);
      Hardware hardware(fake.device());
      return failureOf([&] { (hardware.*ask)(); });
    };
    for (const size_t size : {~size_t{0}, size_t{1} << 33}) {
      FakeCL fake;
      fake.claimedSizes[property] = size;
      EXPECT_THAT(run(fake), testing::StartsWith(failure)) << size;
    }
    const bool platform = property == CL_PLATFORM_VERSION;
    for (const unsigned call : {1U, 2U}) {
      FakeCL fake;
      fake.statuses[platform ? "clGetPlatformInfo" : "clGetDeviceInfo"][call] = -5;
      EXPECT_THAT(run(fake), testing::StartsWith(failure)) << call;
    }
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
  fake.counts.clear();
  fake.statuses = {{"clGetPlatformIDs", {{1, -6}}}};
  EXPECT_THROW(Hardware().DoGetCLGPUs(), ZOR::LogicalException);
  fakeMachine = {};
}

}  // namespace
