#include "ogl/ScopedContextWrapper.h"

#include "ogl/Backend.h"
#include "ogl/ContextState.h"

namespace ZOR::OGL {

ScopedContextWrapper::ScopedContextWrapper(bool restore) : fState(ContextState::Current) {
  if (restore) fRestore = Backend::Instance().saveCurrent();
}

ScopedContextWrapper::~ScopedContextWrapper() {
  if (!fRestore) return;
  fRestore();
  ContextState::Current = fState;
}

}  // namespace ZOR::OGL
