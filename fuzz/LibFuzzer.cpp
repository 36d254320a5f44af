#include "fuzz/Targets.h"

// The name under which libFuzzer looks for the target that this program was built for.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  return GPUPROBE_FUZZ_TARGET(data, size);
}
