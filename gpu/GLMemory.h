#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>

class GPUImpl;
namespace ZOR::OGL {
class Context;
}

// OpenGL's two queries for video memory, which began as their makers' own: NVX_gpu_memory_info
// tells the card's own memory, ATI_meminfo only what is free at the moment. One that throws counts
// as 0 and is logged as "<operation>: <why it was asked>, GLGetIntegerv failure".

/// Bytes by the query of the adapter's maker (AMD and NVIDIA); 0 for other vendors. The driver's
/// KiB are sign-extended, so a negative figure is a huge one.
uint64_t GLMemoryBytes(GPUImpl& impl, uint32_t vendorID, const char* operation);

/// The largest figure in bytes of those queries whose extension the context lists, whoever made the
/// adapter: Mesa offers them for any. Figures that no card could have count as 0.
uint64_t ListedGLMemoryBytes(GPUImpl& impl, const boost::shared_ptr<ZOR::OGL::Context>& context,
                             const char* operation);
