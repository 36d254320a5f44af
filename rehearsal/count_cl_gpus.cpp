// Says on standard output how many OpenCL GPU devices the machine has; 0 without OpenCL.

#include <iostream>

#include "zor/core/Exceptions.h"
#include "zor/core/Library.h"
#include "zor/ocl/Library.h"
#include "zor/ocl/Objects.h"

int main() {
  size_t count = 0;
  try {
    ZOR::Core::Library::Initialize();
    ZOR::OCL::Library::Initialize();
    for (const ZOR::OCL::Platform& platform : ZOR::OCL::platforms())
      count += platform.devices(CL_DEVICE_TYPE_GPU).size();
  } catch (const ZOR::ExceptionBase& e) {
    std::cerr << "count_cl_gpus: " << e.what() << '\n';
  }
  std::cout << count << '\n';
}
