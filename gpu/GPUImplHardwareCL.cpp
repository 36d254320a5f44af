#include "GPUImplHardware.h"
#include "core/Exceptions.h"

// ZOR::OCL::Library says that OpenCL is not available in this build, so no record reaches these.
namespace {

[[noreturn]] void notAvailable() {
  throw ZOR::LogicalException("OpenCL is not available");
}

}  // namespace

GPUList GPUImplHardware::DoGetCLGPUs() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCLPlatformVersion() {
  notAvailable();
}
unsigned GPUImplHardware::DoGetCLMemoryMB() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCLName() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCLVendor() {
  notAvailable();
}
unsigned GPUImplHardware::DoGetCLVendorID() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCLDriverVersion() {
  notAvailable();
}
bool GPUImplHardware::DoIsCUDASupported() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCUDAVersion() {
  notAvailable();
}
double GPUImplHardware::DoGetCLBandwidth() {
  notAvailable();
}
double GPUImplHardware::DoGetCLCompute() {
  notAvailable();
}
std::string GPUImplHardware::DoGetCLDeviceVersion() {
  notAvailable();
}
bool GPUImplHardware::DoIsIntegratedCLGPU() {
  notAvailable();
}
