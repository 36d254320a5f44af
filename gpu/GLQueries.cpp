#include "gpu/GLQueries.h"

#include <algorithm>

#include "gpu/AdapterMemory.h"
#include "gpu/GPUImpl.h"
#include "log/Diagnostic.h"
#include "log/ReportFailure.h"

GLContextScope::GLContextScope(const boost::shared_ptr<ZOR::OGL::Context>& context)
    : fWrapper(true) {
  context->makeCurrent();
}

GLExtensionScope::GLExtensionScope(const boost::shared_ptr<ZOR::OGL::Context>& context)
    : GLContextScope(context), fExtensions(ZOR::OGL::ExtensionManager::Instance()) {
  if (!fExtensions)
    ReportFailure("<NULL>", 0, "ZOR::OGL::ExtensionManager::Instance() returned NULL", false);
}

bool GLExtensionScope::IsSupported(unsigned extension) const {
  return fExtensions && fExtensions->isSupported(extension);
}

bool GLExtensionScope::IsListed(std::string_view name) const {
  return fExtensions && fExtensions->isListed(name);
}

namespace {

struct MemoryQuery {
  uint32_t vendorID;
  unsigned name;
  const char* extension;
  const char* vendorText;
  int line;
};

// https://registry.khronos.org/OpenGL/extensions/ATI/ATI_meminfo.txt
// https://registry.khronos.org/OpenGL/extensions/NVX/NVX_gpu_memory_info.txt
constexpr MemoryQuery kQueries[] = {
    {kVendorAMD, 0x87FC /* GL_TEXTURE_FREE_MEMORY_ATI */, "GL_ATI_meminfo", "vendorID=kVendorAMD",
     746},
    {kVendorNVIDIA, 0x9047 /* GL_GPU_MEMORY_INFO_DEDICATED_VIDMEM_NVX */, "GL_NVX_gpu_memory_info",
     "vendorID=kVendorNVIDIA", 760},
};

uint64_t askBytes(GPUImpl& impl, const MemoryQuery& query, const char* operation,
                  const char* reason) {
  try {
    // ATI_meminfo writes four integers; the first is what is free of all memory for textures.
    int kibibytes[4] = {};
    impl.DoGLGetIntegerv(query.name, kibibytes);
    return static_cast<uint64_t>(int64_t{kibibytes[0]}) << 10;
  } catch (...) {
    AdapterDiagnostic(query.line)(operation, ": ", reason, ", GLGetIntegerv failure");
    return 0;
  }
}

}  // namespace

uint64_t GLMemoryBytes(GPUImpl& impl, uint32_t vendorID, const char* operation) {
  for (const MemoryQuery& query : kQueries)
    if (query.vendorID == vendorID) return askBytes(impl, query, operation, query.vendorText);
  return 0;
}

uint64_t ListedGLMemoryBytes(GPUImpl& impl, const boost::shared_ptr<ZOR::OGL::Context>& context,
                             const char* operation) {
  // A negative figure of the driver is a huge one here, and none that a card could have.
  constexpr uint64_t kMaxBytes = uint64_t{1} << 50;
  uint64_t largest = 0;
  for (const MemoryQuery& query : kQueries) {
    if (!GLExtensionScope(context).IsListed(query.extension)) continue;
    const uint64_t bytes = askBytes(impl, query, operation, query.extension);
    if (bytes < kMaxBytes) largest = std::max(largest, bytes);
  }
  return largest;
}
