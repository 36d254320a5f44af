#include "zor/core/Library.h"

namespace ZOR::Core {
namespace {

bool initialized = false;

}  // namespace

void Library::Initialize() {
  initialized = true;
}

bool Library::IsInitialized() {
  return initialized;
}

}  // namespace ZOR::Core
