#include "zor/ogl/OpenGLInterceptor.h"

#include "zor/ogl/ContextState.h"

namespace ZOR::OGL {

void OpenGLInterceptor::load(Backend& backend) {
#define ZOR_GL_LOAD(name) name.load(backend);
  ZOR_GL_ENTRY_POINTS(ZOR_GL_LOAD)
#undef ZOR_GL_LOAD
}

OpenGLInterceptor& OpenGLInterceptor::Instance() {
  if (!ContextState::Current) throw LogicalException("no OpenGL context is current");
  return ContextState::Current->interceptor;
}

}  // namespace ZOR::OGL
