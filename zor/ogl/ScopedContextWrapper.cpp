#include "zor/ogl/ScopedContextWrapper.h"

#include "zor/ogl/Backend.h"
#include "zor/ogl/ContextState.h"

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
