#pragma once

#include "ocl/CLHeaders.h"

/// Every OpenCL function that this library and its users call.
// clang-format off
#define ZOR_CL_ENTRY_POINTS(X)                                                         \
  X(clGetPlatformIDs) X(clGetPlatformInfo) X(clGetDeviceIDs) X(clGetDeviceInfo)        \
  X(clCreateContext) X(clReleaseContext)                                               \
  X(clCreateCommandQueue) X(clReleaseCommandQueue) X(clFinish)                         \
  X(clCreateBuffer) X(clReleaseMemObject) X(clEnqueueCopyBuffer)                       \
  X(clCreateProgramWithSource) X(clBuildProgram) X(clReleaseProgram)                   \
  X(clCreateKernel) X(clReleaseKernel) X(clSetKernelArg) X(clEnqueueNDRangeKernel)     \
  X(clWaitForEvents) X(clGetEventProfilingInfo) X(clReleaseEvent)
// clang-format on

namespace ZOR::OCL {

/// The functions of the system's ICD loader, under their own names.
struct EntryPoints {
#define ZOR_CL_MEMBER(name) decltype(&::name) name{};
  ZOR_CL_ENTRY_POINTS(ZOR_CL_MEMBER)
#undef ZOR_CL_MEMBER
};

/// Opens the ICD loader's library. Throws LogicalException with the system's text or the name of
/// the missing function.
EntryPoints LoadEntryPoints();

/// The ICD loader's library as the system calls it.
extern const char* const kLoaderLibrary;

}  // namespace ZOR::OCL
