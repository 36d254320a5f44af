#include "FakeGPUImpl.h"

boost::shared_ptr<GPUImpl> MakeGPUImpl() {
  return boost::shared_ptr<GPUImpl>(new FakeGPUImpl());
}
