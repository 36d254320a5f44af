#include "ocl/ExtensionManager.h"

namespace ZOR::OCL {
namespace {

ExtensionManager* replacement = nullptr;

}  // namespace

ExtensionManager* ExtensionManager::instance() {
  if (replacement) return replacement;
  static ExtensionManager system(LoadEntryPoints());
  return &system;
}

void ExtensionManager::Replace(ExtensionManager* manager) {
  replacement = manager;
}

}  // namespace ZOR::OCL
