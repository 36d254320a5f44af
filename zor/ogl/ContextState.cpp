#include "zor/ogl/ContextState.h"

#include "zor/ogl/Backend.h"

namespace ZOR::OGL {

thread_local ContextState* ContextState::Current = nullptr;

void ContextState::load() {
  interceptor.load(Backend::Instance());
  extensions.load(interceptor);
  loaded = true;
}

void OpenGLInterceptor::load(Backend& backend) {
#define ZOR_GL_LOAD(name) name.load(backend);
  ZOR_GL_ENTRY_POINTS(ZOR_GL_LOAD)
#undef ZOR_GL_LOAD
}

OpenGLInterceptor& OpenGLInterceptor::Instance() {
  if (!ContextState::Current) throw LogicalException("no OpenGL context is current");
  return ContextState::Current->interceptor;
}

const ExtensionManager* ExtensionManager::Instance() {
  return ContextState::Current ? &ContextState::Current->extensions : nullptr;
}

}  // namespace ZOR::OGL
