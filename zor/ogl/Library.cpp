#include "ogl/Library.h"

#include "core/Exceptions.h"
#include "core/Library.h"
#include "ogl/Backend.h"

namespace ZOR::OGL {

void Library::Initialize(const InitOptions&) {
  if (!Core::Library::IsInitialized()) throw LogicalException("ZOR::Core is not initialized");
  Backend::Instance().initialize();
}

void Library::AnswerMessages() {
  Backend::Instance().answerMessages();
}

}  // namespace ZOR::OGL
