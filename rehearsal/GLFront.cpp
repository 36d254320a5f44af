// A libEGL.so.1 whose folder comes first in the loader's path. It passes on to the real one, or
// with GPUPROBE_PLAY to one that is played, and in it calls of EGL and OpenGL go wrong as
// GPUPROBE_FAULT says.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "rehearsal/PlayedEGL.h"
#include "rehearsal/Strike.h"
#include "zor/ogl/OpenGLInterceptor.h"

namespace {

using rehearsal::Calls;
using rehearsal::Fault;

struct GLFunctions {
#define FRONT_MEMBER(name) decltype(&::name) name = nullptr;
  ZOR_GL_ENTRY_POINTS(FRONT_MEMBER)
#undef FRONT_MEMBER
};

/// What we pass on to, without our own functions in it.
EGLFunctions below;

/// The newest context's, for another one of its kind.
EGLDisplay lastDisplay = EGL_NO_DISPLAY;
EGLConfig lastConfig = nullptr;

struct EGL {
  static inline EGLFunctions next;
  static inline EGLint pendingError = EGL_SUCCESS;
  static constexpr bool kStatusByPointer = false;
  static constexpr bool kNumbersAreAnswers = false;

  template <class Result, class... Arguments>
  static Result Fail(const Calls&, const Fault& fault, Arguments...) {
    const auto error = static_cast<EGLint>(fault.argument.value_or(EGL_NOT_INITIALIZED));
    if constexpr (std::is_same_v<Result, EGLint>) return error;
    pendingError = error;
    return Result{};
  }
  template <class Result, class... Arguments>
  static Result Success(Arguments...) {
    if constexpr (std::is_same_v<Result, EGLBoolean>) return EGL_TRUE;
    if constexpr (std::is_same_v<Result, EGLint>) return EGL_SUCCESS;
    return Result{};
  }
  static void LeaveAnotherContext() {
    if (lastDisplay == EGL_NO_DISPLAY) return;
    const EGLContext other =
        below.eglCreateContext(lastDisplay, lastConfig, EGL_NO_CONTEXT, nullptr);
    below.eglMakeCurrent(lastDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, other);
  }
};

struct GL {
  static inline GLFunctions next;
  static inline GLenum pendingError = GL_NO_ERROR;
  static constexpr bool kStatusByPointer = false;
  static constexpr bool kNumbersAreAnswers = true;

  template <class Result, class... Arguments>
  static Result Fail(const Calls& calls, const Fault& fault, Arguments...) {
    const auto error = static_cast<GLenum>(fault.argument.value_or(GL_OUT_OF_MEMORY));
    if constexpr (std::is_same_v<Result, GLenum>)
      if (calls.name == std::string_view("glGetError")) return error;
    pendingError = error;
    return Result();
  }
  template <class Result, class... Arguments>
  static Result Success(Arguments...) {
    return Result{};
  }
  static void LeaveAnotherContext() { EGL::LeaveAnotherContext(); }
};

#define FRONT_HOOK(name)                \
  const char* const name##Name = #name; \
  using name##Hook = rehearsal::Hook<EGL, &EGLFunctions::name, name##Name>;
#define FRONT_EXTENSION_HOOK(name, type) FRONT_HOOK(name)
ZOR_EGL_ENTRY_POINTS(FRONT_HOOK)
ZOR_EGL_EXTENSION_POINTS(FRONT_EXTENSION_HOOK)
#undef FRONT_EXTENSION_HOOK
#undef FRONT_HOOK
#define FRONT_HOOK(name)                \
  const char* const name##Name = #name; \
  using name##Hook = rehearsal::Hook<GL, &GLFunctions::name, name##Name>;
ZOR_GL_ENTRY_POINTS(FRONT_HOOK)
#undef FRONT_HOOK

using Function = void (*)();

/// The driver's own function, behind our hook; null where it has none.
template <class Hook, class Member>
Function hooked(Member& next, const char* name) {
  next = reinterpret_cast<Member>(below.eglGetProcAddress(name));
  return next ? reinterpret_cast<Function>(Hook::call) : nullptr;
}

/// The driver's own, below what a fault has left pending.
GLenum (*realGLError)() = nullptr;

GLenum nextGLError() {
  return GL::pendingError == GL_NO_ERROR ? realGLError()
                                         : std::exchange(GL::pendingError, GLenum{GL_NO_ERROR});
}

/// As OpenGL's functions, but with a pending error of ours.
template <>
Function hooked<glGetErrorHook>(decltype(GL::next.glGetError)& next, const char* name) {
  realGLError = reinterpret_cast<decltype(realGLError)>(below.eglGetProcAddress(name));
  next = nextGLError;
  return realGLError ? reinterpret_cast<Function>(glGetErrorHook::call) : nullptr;
}

Function functionOrHook(const char* name) {
  const std::string_view asked = name;
#define FRONT_LOOK_UP(known, type) \
  if (asked == #known)             \
    return EGL::next.known ? reinterpret_cast<Function>(known##Hook::call) : nullptr;
  ZOR_EGL_EXTENSION_POINTS(FRONT_LOOK_UP)
#undef FRONT_LOOK_UP
#define FRONT_LOOK_UP(known) \
  if (asked == #known) return hooked<known##Hook>(GL::next.known, name);
  ZOR_GL_ENTRY_POINTS(FRONT_LOOK_UP)
#undef FRONT_LOOK_UP
  return below.eglGetProcAddress(name);
}

EGLContext createAndRemember(EGLDisplay on, EGLConfig with, EGLContext share,
                             const EGLint* attributes) {
  lastDisplay = on;
  lastConfig = with;
  return below.eglCreateContext(on, with, share, attributes);
}

EGLint nextError() {
  return EGL::pendingError == EGL_SUCCESS ? below.eglGetError()
                                          : std::exchange(EGL::pendingError, EGL_SUCCESS);
}

/// The library of our own name that the loader would have found behind us.
void* openReal() {
  namespace files = std::filesystem;
  Dl_info self = {};
  Dl_serinfo size = {};
  void* const program = dlopen(nullptr, RTLD_NOW);
  if (!program || dladdr(reinterpret_cast<void*>(openReal), &self) == 0 ||
      dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0)
    return nullptr;
  // The path's folders lie behind the head.
  std::vector<Dl_serinfo> room(size.dls_size / sizeof size + 1, size);
  if (dlinfo(program, RTLD_DI_SERINFO, room.data()) != 0) return nullptr;
  for (unsigned i = 0; i < size.dls_cnt; ++i) {
    // NOLINTNEXTLINE(clang-analyzer-*): the array is longer than it is declared
    const files::path path = files::path(room.data()->dls_serpath[i].dls_name) / "libEGL.so.1";
    std::error_code missing;
    if (!files::exists(path, missing) || files::equivalent(path, self.dli_fname, missing)) continue;
    if (void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) return library;
  }
  return nullptr;
}

EGLFunctions realEGL() {
  EGLFunctions real;
  void* const library = openReal();
  if (!library) {
    std::fputs("rehearsal: no libEGL.so.1 behind this one; none is played\n", stderr);
    return PlayEGL("lists");
  }
#define FRONT_LOAD(name) real.name = reinterpret_cast<decltype(real.name)>(dlsym(library, #name));
  ZOR_EGL_ENTRY_POINTS(FRONT_LOAD)
#undef FRONT_LOAD
#define FRONT_LOAD(name, type) real.name = reinterpret_cast<type>(real.eglGetProcAddress(#name));
  ZOR_EGL_EXTENSION_POINTS(FRONT_LOAD)
#undef FRONT_LOAD
  return real;
}

struct AtLoading {
  AtLoading() {
    if (const Fault* fault = rehearsal::FaultOfLoading("eglLoad")) rehearsal::ActOnProcess(*fault);
    const char* const play = std::getenv("GPUPROBE_PLAY");
    below = play ? PlayEGL(play) : realEGL();
    EGL::next = below;
    EGL::next.eglCreateContext = createAndRemember;
    EGL::next.eglGetError = nextError;
    EGL::next.eglGetProcAddress = functionOrHook;
  }
} atLoading;

}  // namespace

// Each function that libEGL.so.1 exports is its hook.
#define FRONT_EXPORT(name)                                                              \
  extern "C" {                                                                          \
  [[maybe_unused]] static decltype(&::name) name##Resolve() {                           \
    return name##Hook::call;                                                            \
  }                                                                                     \
  __attribute__((visibility("default"), ifunc(#name "Resolve"))) decltype(::name) name; \
  }
ZOR_EGL_ENTRY_POINTS(FRONT_EXPORT)
#undef FRONT_EXPORT
