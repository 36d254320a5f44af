#include <gtest/gtest.h>

#include "FakeGPUImpl.h"

namespace {

/// The fake answers a text question with its own name, and notes the others.
class GPURecords : public testing::Test {
 protected:
  void SetUp() override {
    fakeMachine = FakeMachine();
    fakeMachine.onQuestion = [this](const std::string&, const std::string& operation) {
      asked.push_back(operation);
    };
  }
  void TearDown() override { fakeMachine = FakeMachine(); }

  std::vector<std::string> asked;
  boost::shared_ptr<GPUImpl> impl{new FakeGPUImpl("gpu")};
};

TEST_F(GPURecords, OpenGLQuestionsGoToTheirSlots) {
  const GLGPU gl(impl);
  const GPU& gpu = gl;
  int value = 0;
  EXPECT_EQ(gpu.Version(), "gpu DoGetGLVersion");
  EXPECT_EQ(gl.Caption(), "gpu DoGetGLCaption");
  gpu.MemoryMB(), gpu.Name(), gpu.Vendor(), gpu.VendorID(), gpu.DriverVersion(), gpu.IsIntegrated();
  gl.RectTextureSize(), gl.Renderer(), gl.RendererID(), gl.HasNPOTSupport(), gl.Driver();
  gl.DriverDate(), gl.CanCompileProgramGLSL(), gl.FramebufferOK(), gl.GetString(1);
  gl.GetIntegerv(1, &value), gl.GetProgramivARB(1, 2, &value), gl.IsExtensionSupported(3);
  EXPECT_EQ(asked, (std::vector<std::string>{
                       "DoGetGLVersion",       "DoGetGLCaption",          "DoGetGLMemoryMB",
                       "DoGetGLName",          "DoGetGLVendor",           "DoGetGLVendorID",
                       "DoGetGLDriverVersion", "DoIsIntegratedGLGPU",     "DoGetGLRectTextureSize",
                       "DoGetGLRenderer",      "DoGetGLRendererID",       "DoHasGLNPOTSupport",
                       "DoGetGLDriver",        "DoGetGLDriverDate",       "DoCompileProgramGLSL",
                       "DoGLFramebufferOK",    "DoGLGetString",           "DoGLGetIntegerv",
                       "DoGLGetProgramivARB",  "DoGLIsExtensionSupported"}));
}

TEST_F(GPURecords, OpenCLQuestionsGoToTheirSlots) {
  const CLGPU cl(impl);
  const GPU& gpu = cl;
  fakeMachine.numbers["DoGetCLCompute"] = 1.5;  // Compute() must not ask it
  EXPECT_EQ(cl.Compute(), 0.0);
  EXPECT_EQ(cl.deviceIndex, -1);
  gpu.Version(), gpu.MemoryMB(), gpu.Name(), gpu.Vendor(), gpu.VendorID(), gpu.DriverVersion();
  gpu.IsIntegrated(), cl.CUDASupported(), cl.CUDAVersion(), cl.Bandwidth(), cl.DeviceVersion();
  EXPECT_EQ(asked, (std::vector<std::string>{
                       "DoGetCLComputeScore", "DoGetCLPlatformVersion", "DoGetCLMemoryMB",
                       "DoGetCLName", "DoGetCLVendor", "DoGetCLVendorID", "DoGetCLDriverVersion",
                       "DoIsIntegratedCLGPU", "DoIsCUDASupported", "DoGetCUDAVersion",
                       "DoGetCLBandwidth", "DoGetCLDeviceVersion"}));
}

TEST_F(GPURecords, NoImplementationFailsTheAssertion) {
  const GLGPU gpu{boost::shared_ptr<GPUImpl>()};
  EXPECT_DEATH(gpu.Version(), "px != 0");
}

}  // namespace
