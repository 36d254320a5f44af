#include "zor/ogl/Library.h"

#include "zor/core/Exceptions.h"
#include "zor/core/Library.h"
#include "zor/ogl/Backend.h"

namespace ZOR::OGL {

void Library::Initialize(const InitOptions&) {
  if (!Core::Library::IsInitialized()) throw LogicalException("ZOR::Core is not initialized");
  Backend::Instance().initialize();
}

void Library::AnswerMessages() {
  Backend::Instance().answerMessages();
}

}  // namespace ZOR::OGL
