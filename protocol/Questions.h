#pragma once

#include <cstdint>

// Everything that the report says: each key with the kind and the unit of its value, in the order
// of the report. The probe asks by these lists, hosts read by them, and docs/report.md is checked
// against them. The lists are macros so that a row can name an operation, a constant and a text at
// once; the tables below are what everybody else reads.

// clang-format off

/// Lines about the run, X(key, kind). A stage that can touch a driver is announced by its key.
#define GPUPROBE_RUN_LINES(X)                                                                     \
  X(Tester, Text) X(snifferStart, Time) X(ZORCoreInitialized, Flag) X(ZOROGLInitialized, Flag)    \
  X(OGLContextCreated, Flag) X(NumGLGPUs, Integer) X(NumCLGPUs, Integer) X(NumNativeGPUs, Integer)\
  X(snifferEnd, Time)

/// Asked of every OpenGL GPU by name, X(key, kind, unit).
#define GPUPROBE_GL_QUESTIONS(X)                                                                  \
  X(GLVersion, Text, "")                                                                          \
  X(IsIntegratedGLGPU, Flag, "")                                                                  \
  X(GLMemoryMB, Integer, "MiB")                                                                   \
  X(GLName, Text, "")                                                                             \
  X(GLVendor, Text, "")                                                                           \
  X(GLVendorID, Integer, "")                                                                      \
  X(GLDriverVersion, Text, "")                                                                    \
  X(GLRectTextureSize, Integer, "texels")                                                         \
  X(GLRenderer, Text, "")                                                                         \
  X(GLRendererID, Integer, "")                                                                    \
  X(HasGLNPOTSupport, Flag, "")                                                                   \
  X(GLDriver, Text, "")                                                                           \
  X(GLDriverDate, Text, "")                                                                       \
  X(CanCompileProgramGLSL, Flag, "")                                                              \
  X(GLFrameBufferOK, Flag, "")

/// Then, by OpenGL's own names and enumerants, X(name, number): a text, a limit of the fragment
/// program target, and the limits of the context.
#define GPUPROBE_GL_STRINGS(X) X(GL_SHADING_LANGUAGE_VERSION, 0x8B8C)
#define GPUPROBE_GL_PROGRAM_LIMITS(X) X(GL_MAX_PROGRAM_INSTRUCTIONS_ARB, 0x88A1)
#define GPUPROBE_GL_LIMITS(X)                                                                     \
  X(GL_MAX_TEXTURE_UNITS, 0x84E2)                                                                 \
  X(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, 0x8B4D)                                                  \
  X(GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS, 0x8B4C)                                                    \
  X(GL_MAX_TEXTURE_IMAGE_UNITS, 0x8872)                                                           \
  X(GL_MAX_DRAW_BUFFERS, 0x8824)                                                                  \
  X(GL_MAX_VERTEX_UNIFORM_COMPONENTS, 0x8B4A)                                                     \
  X(GL_MAX_FRAGMENT_UNIFORM_COMPONENTS, 0x8B49)                                                   \
  X(GL_MAX_VARYING_FLOATS, 0x8B4B)                                                                \
  X(GL_MAX_VERTEX_ATTRIBS, 0x8869)

/// Last, extensions by the numbers of our own list (ZOR::OGL::OpenGLExtension), X(name, number).
#define GPUPROBE_GL_EXTENSIONS(X)                                                                 \
  X(GL_ARB_VERTEX_PROGRAM, 69)                                                                    \
  X(GL_ARB_FRAGMENT_PROGRAM, 27)                                                                  \
  X(GL_ARB_VERTEX_SHADER, 70)                                                                     \
  X(GL_ARB_FRAGMENT_SHADER, 28)                                                                   \
  X(GL_EXT_FRAMEBUFFER_OBJECT, 81)                                                                \
  X(GL_ARB_TEXTURE_RECTANGLE, 58)                                                                 \
  X(GL_ARB_TEXTURE_FLOAT, 53)                                                                     \
  X(GL_ARB_OCCLUSION_QUERY, 37)                                                                   \
  X(GL_ARB_VERTEX_BUFFER_OBJECT, 68)                                                              \
  X(GL_ARB_SHADER_TEXTURE_LOD, 47)

/// The name of an extension in the report.
#define GPUPROBE_EXTENSION_NAME(name) "ZOR::OGL::" #name

/// Asked of every OpenCL GPU, X(key, kind, unit); the kernel time is the shipped tester's own.
#define GPUPROBE_CL_QUESTIONS(X)                                                                  \
  X(CLPlatformVersion, Text, "")                                                                  \
  X(CLDeviceVersion, Text, "")                                                                    \
  X(IsIntegratedCLGPU, Flag, "")                                                                  \
  X(CLMemoryMB, Integer, "MiB")                                                                   \
  X(CLName, Text, "")                                                                             \
  X(CLVendor, Text, "")                                                                           \
  X(CLVendorID, Integer, "")                                                                      \
  X(CLDriverVersion, Text, "")                                                                    \
  X(CUDASupported, Flag, "")                                                                      \
  X(CUDAVersion, Text, "")                                                                        \
  X(CLBandwidth, Number, "bytes per second")
#define GPUPROBE_CL_MEASUREMENTS(X) X(CLCompute, Number, "seconds")

/// Asked of every adapter that only the system knows.
#define GPUPROBE_NATIVE_QUESTIONS(X) X(NativeName, Text, "")

// clang-format on

namespace protocol {

/// How a value stands in its line: text between double quotes, never escaped; 1 or 0; decimal;
/// six significant digits; integers in brackets; local time as text.
enum class Kind { Text, Flag, Integer, Number, List, Time };

enum class GPUKind { OpenGL, OpenCL, Native };

/// A line about the run: "key=value".
struct RunLine {
  const char* key;
  Kind kind;
};

/// A question of every GPU of a kind: "tag.key=value".
struct Question {
  GPUKind gpu;
  const char* key;
  Kind kind;
  const char* unit;  ///< empty where the value has none
  /// What a "gputag.name=number" line before the answer says; null and 0 where none stands.
  const char* name = nullptr;
  uint32_t number = 0;
};

/// The word of a GPU's tag: "glgpu" in "glgpu[0]".
constexpr const char* TagWord(GPUKind kind) {
  return kind == GPUKind::OpenGL ? "glgpu" : kind == GPUKind::OpenCL ? "clgpu" : "nativegpu";
}

inline constexpr RunLine kRunLines[] = {
#define GPUPROBE_ROW(key, kind) {#key, Kind::kind},
    GPUPROBE_RUN_LINES(GPUPROBE_ROW)
#undef GPUPROBE_ROW
};

/// All questions in the order of the report: OpenGL's, OpenCL's, the native ones.
// clang-format off
inline constexpr Question kQuestions[] = {
#define GPUPROBE_GL(key, kind, unit) {GPUKind::OpenGL, #key, Kind::kind, unit},
#define GPUPROBE_CL(key, kind, unit) {GPUKind::OpenCL, #key, Kind::kind, unit},
#define GPUPROBE_NATIVE(key, kind, unit) {GPUKind::Native, #key, Kind::kind, unit},
#define GPUPROBE_NAMED(key, kind, name, number) {GPUKind::OpenGL, key, Kind::kind, "", name, number},
#define GPUPROBE_STRING(name, number) \
  GPUPROBE_NAMED("glGetString[" #name "]", Text, #name, number)
#define GPUPROBE_PROGRAM(name, number) \
  GPUPROBE_NAMED("glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][" #name "]", List, #name, number)
#define GPUPROBE_LIMIT(name, number) \
  GPUPROBE_NAMED("glGetIntegerv[" #name "]", List, #name, number)
#define GPUPROBE_EXTENSION(name, number) \
  GPUPROBE_NAMED("extension[" GPUPROBE_EXTENSION_NAME(name) "]", Flag, GPUPROBE_EXTENSION_NAME(name), number)
    GPUPROBE_GL_QUESTIONS(GPUPROBE_GL)
    GPUPROBE_GL_STRINGS(GPUPROBE_STRING)
    GPUPROBE_GL_PROGRAM_LIMITS(GPUPROBE_PROGRAM)
    GPUPROBE_GL_LIMITS(GPUPROBE_LIMIT)
    GPUPROBE_GL_EXTENSIONS(GPUPROBE_EXTENSION)
    GPUPROBE_CL_QUESTIONS(GPUPROBE_CL)
    GPUPROBE_CL_MEASUREMENTS(GPUPROBE_CL)
    GPUPROBE_NATIVE_QUESTIONS(GPUPROBE_NATIVE)
#undef GPUPROBE_GL
#undef GPUPROBE_CL
#undef GPUPROBE_NATIVE
#undef GPUPROBE_NAMED
#undef GPUPROBE_STRING
#undef GPUPROBE_PROGRAM
#undef GPUPROBE_LIMIT
#undef GPUPROBE_EXTENSION
};
// clang-format on

}  // namespace protocol
