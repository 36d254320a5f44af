#include <boost/make_shared.hpp>
#include <cstdlib>

#include "linux/GPUImplLinux.h"

// Alone in its file: a program that brings a factory of its own links without this one.
boost::shared_ptr<GPUImpl> MakeGPUImpl() {
  const char* const root = std::getenv("GPUPROBE_ROOT");
  return boost::make_shared<GPUImplLinux>(root && *root ? root : "/");
}
