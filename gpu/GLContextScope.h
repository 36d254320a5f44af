#pragma once

#include <boost/shared_ptr.hpp>
#include <string_view>

#include "zor/ogl/Context.h"
#include "zor/ogl/ExtensionManager.h"
#include "zor/ogl/ScopedContextWrapper.h"

/// Makes a GPU's context current for the length of one question; the end of the scope puts the
/// previous one back. Throws ZOR::LogicalException when the context can't be made current.
class GLContextScope {
 public:
  explicit GLContextScope(const boost::shared_ptr<ZOR::OGL::Context>& context);

 private:
  ZOR::OGL::ScopedContextWrapper fWrapper;
};

/// The same for questions about extensions.
class GLExtensionScope : public GLContextScope {
 public:
  /// A missing extension set is reported, not thrown: the question goes on.
  explicit GLExtensionScope(const boost::shared_ptr<ZOR::OGL::Context>& context);

  // False for everything when the extension set is missing.
  /// By the report's number.
  bool isSupported(unsigned extension) const;
  /// By the extension's own name.
  bool isListed(std::string_view name) const;

 private:
  const ZOR::OGL::ExtensionManager* fExtensions;
};
