#include <gmock/gmock.h>

#include "FakeCL.h"
#include "core/Library.h"
#include "ocl/Library.h"
#include "ocl/Platform.h"

using namespace ZOR::OCL;

namespace {

/// The message of the LogicalException that the action throws.
template <class Action>
std::string failure(const Action& action) {
  try {
    action();
  } catch (const ZOR::LogicalException& e) {
    return e.what();
  }
  return "none";
}

TEST(OCLPlatforms, ListsInTheDriversOrder) {
  FakeCL fake;
  fake.platforms = {{"OpenCL 1", {CL_DEVICE_TYPE_CPU}},
                    {"OpenCL 2", {CL_DEVICE_TYPE_GPU, CL_DEVICE_TYPE_CPU, CL_DEVICE_TYPE_GPU}}};
  const std::vector<Platform> all = platforms();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_THAT(all[0].devices(CL_DEVICE_TYPE_GPU), testing::IsEmpty());
  const std::vector<Device> gpus = all[1].devices(CL_DEVICE_TYPE_GPU);
  ASSERT_EQ(gpus.size(), 2U);
  EXPECT_EQ(gpus[1].handle(), reinterpret_cast<cl_device_id>(302));
  EXPECT_EQ(gpus[1].platform().handle(), all[1].handle());
  EXPECT_STREQ(gpus[1].platform().version().c_str(), "OpenCL 2");
  fake.platforms.clear();
  EXPECT_THAT(platforms(), testing::IsEmpty());
}

TEST(OCLPlatforms, AnyOtherStatusNamesTheCall) {
  for (const unsigned call : {1U, 2U}) {
    FakeCL fake;
    fake.statuses = {{"clGetPlatformIDs", {{call, -6}}}, {"clGetDeviceIDs", {{call, -33}}}};
    EXPECT_EQ(failure([] { platforms(); }), "clGetPlatformIDs: status -6");
    const Platform first = platforms().at(0);
    EXPECT_EQ(failure([&] { first.devices(CL_DEVICE_TYPE_GPU); }), "clGetDeviceIDs: status -33");
  }
}

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
  EXPECT_EQ(failure([] { Device().platform(); }), "clGetDeviceInfo: status -33");
}

TEST(OCLLibrary, NeedsALoaderThatAnswers) {
  FakeCL fake;
  fake.platforms.clear();
  ZOR::Core::Library::Initialize();
  std::string reason;
  EXPECT_TRUE(Library::IsOpenCLAvailable(reason));
  EXPECT_EQ(failure(Library::Initialize), "none");
  fake.statuses["clGetPlatformIDs"][2] = -6;
  EXPECT_EQ(failure(Library::Initialize), "clGetPlatformIDs: status -6");
}

}  // namespace
