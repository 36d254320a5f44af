#pragma once

#include "ocl/EntryPoints.h"

namespace ZOR::OCL {

/// Holds the OpenCL entry points, and is the seam at which tests put their own.
class ExtensionManager {
 public:
  /// Opens the ICD loader at the first call; one that failed is tried anew. Throws
  /// LogicalException that says what is missing.
  static ExtensionManager* instance();
  /// Null puts the system's back. The caller keeps the ownership.
  static void Replace(ExtensionManager* manager);

  explicit ExtensionManager(const EntryPoints& table) : fTable(table) {}
  const EntryPoints* table() const { return &fTable; }

 private:
  EntryPoints fTable;
};

}  // namespace ZOR::OCL
