#include "gpu/CLPlatformVersion.h"

namespace {

constexpr char kOpenCL[] = "OpenCL ";
constexpr char kCUDA[] = " CUDA ";

}  // namespace

std::string WithoutOpenCL(const std::string& text) {
  constexpr size_t length = sizeof kOpenCL - 1;
  return text.compare(0, length, kOpenCL) == 0 ? text.substr(length) : text;
}

PlatformVersion SplitPlatformVersion(const std::string& text) {
  const std::string rest = WithoutOpenCL(text.c_str());
  const size_t cuda = rest.find(kCUDA);
  if (cuda == std::string::npos) return {rest, {}};
  return {rest.substr(0, cuda), rest.substr(cuda + sizeof kCUDA - 1)};
}
