#include <boost/make_shared.hpp>

#include "linux/GPUImplLinux.h"

// Alone in its file: a program that brings a factory of its own links without this one.
boost::shared_ptr<GPUImpl> MakeGPUImpl() {
  return boost::make_shared<GPUImplLinux>();
}
