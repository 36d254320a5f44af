#include "GLMemory.h"

#include "AdapterLog.h"
#include "AdapterMemory.h"
#include "GPUImpl.h"

namespace {

struct VendorQuery {
  uint32_t vendorID;
  unsigned name;
  const char* vendorName;
  int line;
};

// https://registry.khronos.org/OpenGL/extensions/ATI/ATI_meminfo.txt
// https://registry.khronos.org/OpenGL/extensions/NVX/NVX_gpu_memory_info.txt
constexpr VendorQuery kVendorQueries[] = {
    {kVendorAMD, 0x87FC /* GL_TEXTURE_FREE_MEMORY_ATI */, "kVendorAMD", 746},
    {kVendorNVIDIA, 0x9047 /* GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX */, "kVendorNVIDIA", 760},
};

}  // namespace

uint64_t GLMemoryBytes(GPUImpl& impl, uint32_t vendorID, const char* operation) {
  for (const VendorQuery& query : kVendorQueries) {
    if (query.vendorID != vendorID) continue;
    try {
      // ATI_meminfo writes four integers; the first is the total.
      int kibibytes[4] = {};
      impl.DoGLGetIntegerv(query.name, kibibytes);
      return static_cast<uint64_t>(int64_t{kibibytes[0]}) << 10;
    } catch (...) {
      AdapterLog(query.line)(operation, ": vendorID=", query.vendorName, ", GLGetIntegerv failure");
    }
  }
  return 0;
}
