#include "zor/ogl/ContextOffscreen.h"

#include "zor/ogl/Backend.h"
#include "zor/ogl/ContextState.h"

namespace ZOR::OGL {

thread_local ContextState* ContextState::Current = nullptr;

void ContextState::load() {
  interceptor.load(Backend::Instance());
  extensions.load(interceptor);
  loaded = true;
}

ContextOffscreen::ContextOffscreen(const DisplayDeviceKey& key)
    : fNative(Backend::Instance().createContext(key)), fState(std::make_unique<ContextState>()) {}

ContextOffscreen::~ContextOffscreen() {
  if (ContextState::Current == fState.get()) ContextState::Current = nullptr;
}

void ContextOffscreen::makeCurrent() {
  fNative->makeCurrent();
  if (!fState->loaded) fState->load();
  ContextState::Current = fState.get();
}

std::string ContextOffscreen::driverName() const {
  return fNative->driverName();
}

std::string ContextOffscreen::remark() const {
  return fNative->remark();
}

}  // namespace ZOR::OGL
