#include "gpureport/Values.h"

#include "host/Fields.h"
#include "host/Text.h"

namespace gpureport {

const char* ApiWord(protocol::GPUKind kind) {
  return kind == protocol::GPUKind::OpenGL ? "opengl" : "opencl";
}

std::string TextOf(const host::Gpu& gpu, const char* field) {
  return host::FieldValue<std::string>(gpu, field).value_or("");
}

std::string TypeOf(const host::Gpu& gpu) {
  const auto integrated = host::FieldValue<bool>(gpu, "integrated");
  return !integrated ? "" : *integrated ? "integrated" : "discrete";
}

std::string Cut(const std::string& text, std::size_t bytes) {
  std::string valid = host::ValidUtf8(text.substr(0, bytes + 1));
  if (valid.size() <= bytes) {
    return valid;
  }
  std::size_t end = bytes;
  while (end > 0 && static_cast<unsigned char>(valid[end]) >> 6 == 2) {
    --end;
  }
  return valid.substr(0, end);
}

const char* NoGpuText(const host::Inspection& inspection) {
  if (inspection.openGL.notAsked && inspection.openCL.notAsked)
    return "No GPU: neither OpenGL nor OpenCL was asked";
  if (inspection.openGL.notAsked) return "No GPU: OpenCL has none here, OpenGL was not asked";
  if (inspection.openCL.notAsked) return "No GPU: OpenGL has none here, OpenCL was not asked";
  return "No GPU: neither OpenGL nor OpenCL has one here";
}

}  // namespace gpureport
