#include "zor/ogl/Context.h"

#include "zor/ogl/Backend.h"
#include "zor/ogl/ContextState.h"

namespace ZOR::OGL {
namespace {

Backend* replacement = nullptr;

}  // namespace

Backend& Backend::Instance() {
  return replacement ? *replacement : SystemBackend();
}

void Backend::Replace(Backend* backend) {
  replacement = backend;
}

void Library::Initialize(const InitOptions&) {
  if (!Core::Library::IsInitialized()) throw LogicalException("ZOR::Core is not initialized");
  Backend::Instance().initialize();
}

void Library::AnswerMessages() {
  Backend::Instance().answerMessages();
}

uint64_t Context::NumDisplayDevice() {
  return Backend::Instance().displayDevices().size();
}

bool Context::DisplayDevice(uint64_t index, DisplayDeviceKey& key) {
  const std::vector<DisplayDeviceKey> devices = Backend::Instance().displayDevices();
  if (index >= devices.size()) return false;
  key = devices[index];
  return !deviceFilter || deviceFilter(key);
}

DisplayDeviceKey Context::PrimaryDisplayDevice() {
  return Backend::Instance().primaryDisplayDevice();
}

ContextOffscreen::ContextOffscreen(const DisplayDeviceKey& key)
    : fNative(Backend::Instance().createContext(key)), fState(std::make_unique<ContextState>()) {}

ContextOffscreen::~ContextOffscreen() {
  if (ContextState::current == fState.get()) ContextState::current = nullptr;
}

void ContextOffscreen::makeCurrent() {
  fNative->makeCurrent();
  if (!fState->loaded) fState->load();
  ContextState::current = fState.get();
}

std::string ContextOffscreen::driverName() const {
  return fNative->driverName();
}

std::string ContextOffscreen::remark() const {
  return fNative->remark();
}

ScopedContextWrapper::ScopedContextWrapper(bool restore) : fState(ContextState::current) {
  if (restore) fRestore = Backend::Instance().saveCurrent();
}

ScopedContextWrapper::~ScopedContextWrapper() {
  if (!fRestore) return;
  ContextState::current = fState;
  try {
    fRestore();
  } catch (...) {
    // A driver that throws through its C interface must not end the program here.
  }
}

}  // namespace ZOR::OGL
