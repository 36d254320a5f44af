#include "fuzz/Targets.h"

// The name under which libFuzzer looks for the target that this program was built for.
extern "C" int LLVMFuzzerTestOneInput(const char* data, size_t size) {
  GPUPROBE_FUZZ_TARGET({data, size});
  return 0;
}
