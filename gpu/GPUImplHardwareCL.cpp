#include <boost/make_shared.hpp>
#include <locale>
#include <sstream>
#include <string_view>

#include "gpu/GPU.h"
#include "gpu/GPUImplHardware.h"
#include "gpu/HostSwitches.h"
#include "log/Quoting.h"
#include "log/ReportFailure.h"
#include "zor/ocl/Objects.h"

using namespace ZOR::OCL;

namespace {

/// Drivers are known to count bytes behind the terminator in.
std::string cutAtNul(const std::string& text) {
  return text.c_str();
}

struct PlatformVersion {
  std::string platform;
  std::string cuda;
};

/// The text without the words that every OpenCL version begins with.
std::string withoutOpenCL(const std::string& text) {
  constexpr std::string_view kOpenCL = "OpenCL ";
  return text.compare(0, kOpenCL.size(), kOpenCL) == 0 ? text.substr(kOpenCL.size()) : text;
}

/// Takes a platform's version text apart: "OpenCL 1.2 CUDA 10.1.120" is platform 1.2 and CUDA
/// 10.1.120. Without " CUDA " the CUDA version is empty.
PlatformVersion splitPlatformVersion(const std::string& text) {
  constexpr std::string_view kCUDA = " CUDA ";
  const std::string rest = withoutOpenCL(cutAtNul(text));
  const size_t cuda = rest.find(kCUDA);
  if (cuda == std::string::npos) return {rest, {}};
  return {rest.substr(0, cuda), rest.substr(cuda + kCUDA.size())};
}

/// A failing driver ends the question with its own failure text.
std::string deviceText(const Device& device, cl_device_info property, const char* failureText) {
  std::string text;
  if (device.getText(property, text) != CL_SUCCESS) FailRequirement(failureText);
  return cutAtNul(text);
}

std::string nameOf(const Platform& platform) {
  try {
    return onOneLine(cutAtNul(platform.name()));
  } catch (const ZOR::LogicalException&) {
    return "?";
  }
}

/// The name is one more call of the driver, so it is asked for only where a host steers the run.
bool isWanted(const Platform& platform) {
  if (!ActiveSwitches().Steer()) return true;
  std::ostringstream identity;
  identity.imbue(std::locale::classic());
  identity << platform.handle();
  return ActiveSwitches().AdmitsPart(nameOf(platform), identity.str());
}

/// A driver that can't list its devices, for want of its kernel module for example, costs its own
/// devices only. It is named, but fails no question.
std::vector<Device> gpusOf(const Platform& platform) {
  try {
    return platform.devices(CL_DEVICE_TYPE_GPU);
  } catch (const ZOR::LogicalException& failure) {
    const std::string line =
        "OpenCL platform \"" + nameOf(platform) + "\" left out: " + failure.what();
    ReportFailure("<NULL>", 0, line.c_str(), false);
    return {};
  }
}

boost::shared_ptr<GPU> makeCLGPU(const Device& device) {
  const auto impl = boost::dynamic_pointer_cast<GPUImplHardware>(MakeGPUImpl());
  impl->clDevice = device;
  return boost::make_shared<CLGPU>(impl);
}

}  // namespace

GPUList GPUImplHardware::DoGetCLGPUs() {
  GPUList gpus;
  for (const Platform& platform : platforms()) {
    if (!isWanted(platform)) continue;
    for (const Device& device : gpusOf(platform)) gpus.push_back(makeCLGPU(device));
  }
  return gpus;
}

std::string GPUImplHardware::DoGetCLPlatformVersion() {
  return splitPlatformVersion(clDevice.platform().version()).platform;
}

std::string GPUImplHardware::DoGetCUDAVersion() {
  return splitPlatformVersion(clDevice.platform().version()).cuda;
}

bool GPUImplHardware::DoIsCUDASupported() {
  return !DoGetCUDAVersion().empty();
}

unsigned GPUImplHardware::DoGetCLMemoryMB() {
  return static_cast<unsigned>(clDevice.getInfo<cl_ulong>(CL_DEVICE_GLOBAL_MEM_SIZE) >> 20);
}

std::string GPUImplHardware::DoGetCLName() {
  return cutAtNul(clDevice.name());
}

std::string GPUImplHardware::DoGetCLVendor() {
  return cutAtNul(clDevice.vendor());
}

unsigned GPUImplHardware::DoGetCLVendorID() {
  return clDevice.getInfo<cl_uint>(CL_DEVICE_VENDOR_ID);
}

std::string GPUImplHardware::DoGetCLDriverVersion() {
  return deviceText(clDevice, CL_DRIVER_VERSION, "clGetDeviceInfo failed");
}

std::string GPUImplHardware::DoGetCLDeviceVersion() {
  return withoutOpenCL(
      deviceText(clDevice, CL_DEVICE_VERSION, "Failed requirement: status == CL_SUCCESS"));
}

bool GPUImplHardware::DoIsIntegratedCLGPU() {
  cl_bool unified = CL_FALSE;
  const cl_int status = CL().clGetDeviceInfo(clDevice.handle(), CL_DEVICE_HOST_UNIFIED_MEMORY,
                                             sizeof unified, &unified, nullptr);
  return status == CL_SUCCESS && unified != CL_FALSE;
}
