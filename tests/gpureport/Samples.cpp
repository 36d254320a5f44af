#include "tests/gpureport/Samples.h"

#include "host/Fields.h"

namespace gpureport::test {

using host::Value;
using protocol::GPUKind;

host::Gpu makeGpu(GPUKind kind, int index, const std::map<std::string, host::Answer>& answers) {
  host::Gpu gpu;
  gpu.kind = kind;
  gpu.index = index;
  for (const host::Field& field : host::Fields(kind)) {
    const auto answer = answers.find(field.question->key);
    gpu.answers.push_back(answer == answers.end() ? host::Answer(host::Reason::Unknown)
                                                  : answer->second);
  }
  return gpu;
}

host::Inspection crashedMachine() {
  using Integers = std::vector<std::int64_t>;
  host::Inspection machine;
  machine.status = host::Status::Crashed;
  machine.durationSeconds = 1.25;
  machine.deadlineSeconds = 30;
  machine.attempts = 2;
  machine.createdAt = std::chrono::system_clock::from_time_t(1795293903);
  machine.openGL.status = host::ApiStatus::Ok;
  machine.openGL.gpus = {makeGpu(GPUKind::OpenGL, 0,
                                 {{"GLName", Value("Fine \xe5\x9b\xbe\xe5\xbd\xa2 Card 3000")},
                                  {"GLVersion", Value("4.1")},
                                  {"GLMemoryMB", Value(std::int64_t{12288})},
                                  {"IsIntegratedGLGPU", Value(false)},
                                  {"GLVendor", Value("Fine Corporation")},
                                  {"GLVendorID", Value(std::int64_t{0x10de})},
                                  {"GLRendererID", Value(std::int64_t{0x2786})},
                                  {"GLDriver", Value("fine")},
                                  {"GLDriverVersion", Value("535.183")},
                                  {"GLDriverDate", Value("4-19-2026")},
                                  {"CanCompileProgramGLSL", Value(true)},
                                  {"GLFrameBufferOK", Value(true)},
                                  {"HasGLNPOTSupport", Value(true)},
                                  {"GLRectTextureSize", Value(std::int64_t{16384})}})};
  for (std::size_t i = 0; i < machine.openGL.gpus[0].answers.size(); ++i) {
    const host::Field& field = host::Fields(GPUKind::OpenGL)[i];
    host::Answer& answer = machine.openGL.gpus[0].answers[i];
    if (field.name == "glsl_version") answer = Value("4.60 Fine");
    if (field.group == host::Field::Group::Limits) answer = Value(Integers{32});
    if (field.group == host::Field::Group::Extensions)
      answer = Value(field.name != "GL_ARB_SHADER_TEXTURE_LOD");
  }
  machine.openCL.status = host::ApiStatus::Crashed;
  machine.openCL.gpus = {makeGpu(GPUKind::OpenCL, 0,
                                 {{"CLName", Value("Fine Card 3000")},
                                  {"CLDeviceVersion", Value("3.0 Fine")},
                                  {"CLMemoryMB", Value(std::int64_t{12288})},
                                  {"IsIntegratedCLGPU", Value(false)},
                                  {"CUDAVersion", host::Reason::Absent},
                                  {"CLBandwidth", Value(2.5e11)},
                                  {"CLCompute", host::Reason::Crashed}})};
  host::Incident incident;
  incident.question = "CLCompute";
  incident.gpu = "clgpu[0]";
  incident.library = "/usr/lib/x86_64-linux-gnu/libfine-opencl.so.1";
  incident.libraryOffset = 0x1234;
  incident.package = "libfine-opencl1 535.183-1";
  incident.signal = "SIGSEGV";
  incident.seconds = 0.25;
  incident.evidence = host::Incident::Evidence::CrashLine;
  machine.incidents = {incident};
  machine.messages = {{2, "CLCompute", "fine: no kernel \xff"}};
  machine.unknownKeys = {{"New\xff", "1"}, {"Newer", "\"x\""}};
  return machine;
}

}  // namespace gpureport::test
