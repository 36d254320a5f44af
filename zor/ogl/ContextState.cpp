#include "zor/ogl/ContextState.h"

#include "zor/ogl/Backend.h"

namespace ZOR::OGL {

thread_local ContextState* ContextState::current = nullptr;

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
  if (!ContextState::current) throw LogicalException("no OpenGL context is current");
  return ContextState::current->interceptor;
}

const ExtensionManager* ExtensionManager::Instance() {
  return ContextState::current ? &ContextState::current->extensions : nullptr;
}

}  // namespace ZOR::OGL
