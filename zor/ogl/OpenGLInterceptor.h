#pragma once

#include <string>

#include "zor/core/Exceptions.h"
#include "zor/ogl/Backend.h"
#include "zor/ogl/GLEntryPoints.h"

/// The first two arguments of every intercepted call: where the caller stands.
#define ZOR_HERE __FILE__, __LINE__

namespace ZOR::OGL {

/// Told of each call before it is made.
using TraceHook = void (*)(const char* entryPoint, const char* file, int line);

/// Null, the default, traces nothing.
inline TraceHook traceHook = nullptr;

template <class Function>
class InterceptedCall;

/// One OpenGL function, called as the function itself with the caller's file and line in front.
template <class Result, class... Arguments>
class InterceptedCall<Result (*)(Arguments...)> {
 public:
  explicit InterceptedCall(const char* name) : fName(name) {}

  /// Throws LogicalException when the driver does not offer the function.
  Result operator()(const char* file, int line, Arguments... arguments) const {
    if (traceHook) traceHook(fName, file, line);
    if (!fFunction) throw LogicalException(std::string(fName) + " is not offered by the driver");
    return fFunction(arguments...);
  }

  void load(Backend& backend) {
    fFunction = reinterpret_cast<Result (*)(Arguments...)>(backend.entryPoint(fName));
  }

 private:
  const char* fName;
  Result (*fFunction)(Arguments...) = nullptr;
};

/// The OpenGL entry points of one context, each a member of the function's own name.
class OpenGLInterceptor {
 public:
#define ZOR_GL_MEMBER(name) InterceptedCall<decltype(&::name)> name{#name};
  ZOR_GL_ENTRY_POINTS(ZOR_GL_MEMBER)
#undef ZOR_GL_MEMBER

  /// Looks all functions up for the context that is current.
  void load(Backend& backend);

  /// Those of the current context. Throws LogicalException when none is current.
  static OpenGLInterceptor& Instance();
};

/// For destructors: deletes an object's name through the current context. A context that is gone,
/// or a driver without the function, has nothing left to delete.
template <class Delete>
void deleteQuietly(const Delete& deleteName) noexcept {
  try {
    deleteName(OpenGLInterceptor::Instance());
  } catch (const LogicalException&) {
  }
}

}  // namespace ZOR::OGL
