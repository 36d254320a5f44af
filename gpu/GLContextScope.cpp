#include "GLContextScope.h"

#include <boost/make_shared.hpp>

#include "ReportFailure.h"

GLContextScope::GLContextScope(const boost::shared_ptr<ZOR::OGL::Context>& context)
    : fWrapper(boost::make_shared<ZOR::OGL::ScopedContextWrapper>(true)), fContext(context) {
  fContext->makeCurrent();
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
