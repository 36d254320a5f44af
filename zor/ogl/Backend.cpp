#include "zor/ogl/Backend.h"

namespace ZOR::OGL {
namespace {

Backend* replacement = nullptr;

}  // namespace

Backend& Backend::Instance() {
  return replacement ? *replacement : SystemBackend();
}

void Backend::Replace(Backend* backend) {
  replacement = backend;
}

}  // namespace ZOR::OGL
