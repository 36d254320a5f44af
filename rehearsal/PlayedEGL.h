#pragma once

#include "zor/ogl/EGLApi.h"

/// Every EGL function that the probe calls.
struct EGLFunctions {
#define PLAYED_MEMBER(name) decltype(&::name) name = nullptr;
  ZOR_EGL_ENTRY_POINTS(PLAYED_MEMBER)
#undef PLAYED_MEMBER
#define PLAYED_MEMBER(name, type) type name = nullptr;
  ZOR_EGL_EXTENSION_POINTS(PLAYED_MEMBER)
#undef PLAYED_MEMBER
};

/// An EGL, with the OpenGL of its contexts, that is as `text` says. It is a list of "key=value;",
/// of which those before the first device are about the library and its default display:
///
///     device=PATH      one more display device: a node's path, "software", or nothing
///     render           the path is that of a render node
///     gone             not listed when the devices are asked for again
///     lists            EGL can list its devices, even if it has none
///     fault=FAULT      as in GPUPROBE_FAULT, one; of a device, whose calls are counted apart
///     vendor= renderer= version= extensions=      the context's texts
///
/// OpenGL's functions are eglGetProcAddress's. Throws std::invalid_argument for a fault that can't
/// be read. Call once.
EGLFunctions PlayEGL(const char* text);
