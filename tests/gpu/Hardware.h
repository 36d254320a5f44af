#pragma once

#include <gtest/gtest.h>

#include "gpu/GPUImplHardware.h"
#include "tests/support/FakeCL.h"
#include "zor/core/Exceptions.h"

/// The open slots filled with nothing, so that the hardware's own answers can be asked.
struct Hardware : GPUImplHardware {
  explicit Hardware(const ZOR::OCL::Device& device = ZOR::OCL::Device()) { clDevice = device; }
  GPUList DoGetGPUs() override { return {}; }
  unsigned DoGetGLMemoryMB() override { return 0; }
  unsigned DoGetGLVendorID() override { return 0; }
  std::string DoGetGLDriverVersion() override { return {}; }
  unsigned DoGetGLRendererID() override { return 0; }
  GPUList DoGetNativeGPUs() override { return {}; }
  std::string DoGetNativeName() override { return {}; }
};

/// What the question throws, and that a failed check is on standard error too.
template <class Question>
std::string failureOf(const Question& question) {
  testing::internal::CaptureStderr();
  std::string message = "none";
  bool reported = false;
  try {
    question();
  } catch (const ZOR::ExceptionBase& e) {
    message = e.what();
  } catch (const std::runtime_error& e) {
    message = e.what();
    reported = true;
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), reported ? message + "\n" : "");
  return message;
}

inline constexpr char kCLRequirement[] = "Failed requirement: ciErrNum == CL_SUCCESS";
