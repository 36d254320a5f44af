#pragma once

#include <string>

// Nothing later than 1.1 is called, so every loader in the field has the functions; 1.2 is the
// last version whose header does not call the plain queue constructor deprecated.
#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>

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

/// The functions of the system's ICD loader, under their own names. None is null in a table that
/// LoadEntryPoints() made.
struct EntryPoints {
#define ZOR_CL_MEMBER(name) decltype(&::name) name{};
  ZOR_CL_ENTRY_POINTS(ZOR_CL_MEMBER)
#undef ZOR_CL_MEMBER
};

/// Opens the ICD loader's library. Throws LogicalException with the system's text or the name of
/// the missing function.
EntryPoints LoadEntryPoints();

/// Holds the OpenCL entry points, and is the seam at which tests put their own.
class ExtensionManager {
 public:
  /// Opens the ICD loader at the first call; one that failed is tried anew. Throws
  /// LogicalException that says what is missing.
  static ExtensionManager* instance();
  /// Null puts the system's back. The caller keeps the ownership, and the manager until then.
  static void Replace(ExtensionManager* manager);

  explicit ExtensionManager(const EntryPoints& table) : fTable(table) {}
  const EntryPoints* table() const { return &fTable; }

 private:
  EntryPoints fTable;
};

/// The OpenCL entry points. Throws what ExtensionManager::instance() throws.
inline const EntryPoints& CL() {
  return *ExtensionManager::instance()->table();
}

/// OpenCL's stage of the library.
class Library {
 public:
  /// Whether OpenCL can be used on this machine; if not, reason says what was missing, else it
  /// stays as it is. Opens the ICD loader.
  static bool IsOpenCLAvailable(std::string& reason);
  /// Makes the ICD loader load its drivers. Throws LogicalException when the core was not
  /// initialized, OpenCL is not available or the loader fails; no driver at all is no failure.
  static void Initialize();
};

}  // namespace ZOR::OCL
