#include "gpu/GLContextScope.h"

#include "log/ReportFailure.h"

GLContextScope::GLContextScope(const boost::shared_ptr<ZOR::OGL::Context>& context)
    : fWrapper(true) {
  context->makeCurrent();
}

GLExtensionScope::GLExtensionScope(const boost::shared_ptr<ZOR::OGL::Context>& context)
    : GLContextScope(context), fExtensions(ZOR::OGL::ExtensionManager::Instance()) {
  if (!fExtensions)
    ReportFailure("<NULL>", 0, "ZOR::OGL::ExtensionManager::Instance() returned NULL", false);
}

bool GLExtensionScope::isSupported(unsigned extension) const {
  return fExtensions && fExtensions->isSupported(extension);
}

bool GLExtensionScope::isListed(std::string_view name) const {
  return fExtensions && fExtensions->isListed(name);
}
