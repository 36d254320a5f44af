#include <gmock/gmock.h>

#include "tests/gpu/Hardware.h"
#include "zor/core/Library.h"
#include "zor/ocl/Library.h"
#include "zor/ocl/Objects.h"

using namespace ZOR::OCL;

namespace {

TEST(OCLDevice, PropertiesHaveOneType) {
  FakeCL fake;
  fake.set(CL_DEVICE_GLOBAL_MEM_SIZE, cl_ulong{1} << 40);
  const Device device = fake.device();
  EXPECT_EQ(device.getInfo<cl_ulong>(CL_DEVICE_GLOBAL_MEM_SIZE), cl_ulong{1} << 40);
  const unsigned calls = fake.counts["clGetDeviceInfo"];
  for (const cl_device_info property :
       {CL_DEVICE_GLOBAL_MEM_SIZE, CL_DEVICE_HOST_UNIFIED_MEMORY, CL_DEVICE_NAME, 0xFFFF}) {
    try {
      device.getInfo<cl_uint>(property);
      ADD_FAILURE() << property;
    } catch (const ZOR::InternalException& e) {
      EXPECT_STREQ(e.what(), "property_typename == type_name");
      EXPECT_STREQ(e.source(), "zor/zor_ocl/Device");
      EXPECT_EQ(e.line(), 122);
    }
  }
  EXPECT_EQ(fake.counts["clGetDeviceInfo"], calls);
  EXPECT_EQ(failureOf([] { Device().platform(); }), "clGetDeviceInfo: status -33");
}

TEST(OCLLibrary, NeedsALoaderThatAnswers) {
  FakeCL fake;
  fake.platforms.clear();
  ZOR::Core::Library::Initialize();
  std::string reason;
  EXPECT_TRUE(Library::IsOpenCLAvailable(reason));
  EXPECT_EQ(failureOf(Library::Initialize), "none");
  fake.statuses["clGetPlatformIDs"][2] = -6;
  EXPECT_EQ(failureOf(Library::Initialize), "clGetPlatformIDs: status -6");
}

}  // namespace
