#include "tests/support/FakeGPUImpl.h"

boost::shared_ptr<GPUImpl> MakeGPUImpl() {
  if (fakeMachine.make) return fakeMachine.make();
  return boost::shared_ptr<GPUImpl>(new FakeGPUImpl());
}
