#include <boost/make_shared.hpp>

#include "linux/GPUImplLinux.h"

boost::shared_ptr<GPUImpl> MakeGPUImpl() {
  return boost::make_shared<GPUImplLinux>();
}
