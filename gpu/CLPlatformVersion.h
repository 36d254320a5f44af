#pragma once

#include <string>

struct PlatformVersion {
  std::string platform;
  std::string cuda;
};

/// Takes a platform's version text apart: "OpenCL 1.2 CUDA 10.1.120" is platform 1.2 and CUDA
/// 10.1.120. Without " CUDA " the CUDA version is empty; what follows a NUL is no part of the text.
PlatformVersion SplitPlatformVersion(const std::string& text);

/// The text without the words that every OpenCL version begins with.
std::string WithoutOpenCL(const std::string& text);
