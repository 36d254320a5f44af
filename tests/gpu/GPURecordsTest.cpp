#include <gtest/gtest.h>

#include "tests/support/FakeGPUImpl.h"

namespace {

TEST(GPURecords, CaptionAndComputeHaveTheirOwnSlots) {
  fakeMachine = FakeMachine();
  fakeMachine.numbers["DoGetCLCompute"] = 1.5;  // Compute() must not ask it
  const boost::shared_ptr<GPUImpl> impl(new FakeGPUImpl("gpu"));
  EXPECT_EQ(GLGPU(impl).Caption(), "gpu DoGetGLCaption");
  EXPECT_EQ(CLGPU(impl).Compute(), 0.0);
  EXPECT_EQ(CLGPU(impl).deviceIndex, -1);
}

TEST(GPURecords, NoImplementationFailsTheAssertion) {
  const GLGPU gpu{boost::shared_ptr<GPUImpl>()};
  EXPECT_DEATH(gpu.Version(), "px != 0");
}

}  // namespace
