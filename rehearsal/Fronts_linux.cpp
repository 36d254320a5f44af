#include "rehearsal/Fronts.h"
#include "zor/ocl/Library.h"
#include "zor/ogl/EGLApi.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace rehearsal {

const char kListSeparator = ':';

const std::vector<Front>& Fronts() {
#define FRONT_NAME(name) #name,
#define FRONT_TYPED_NAME(name, type) #name,
  static const std::vector<Front> fronts{
      {"OPENCL_LAYERS", "fault.so", {"clLoad", ZOR_CL_ENTRY_POINTS(FRONT_NAME)}},
      {"LD_LIBRARY_PATH",
       "egl",
       {"eglLoad", ZOR_EGL_ENTRY_POINTS(FRONT_NAME) ZOR_EGL_EXTENSION_POINTS(FRONT_TYPED_NAME)
                       ZOR_GL_ENTRY_POINTS(FRONT_NAME)}}};
#undef FRONT_TYPED_NAME
#undef FRONT_NAME
  return fronts;
}

}  // namespace rehearsal
