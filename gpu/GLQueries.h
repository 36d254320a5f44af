#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <string_view>

#include "zor/ogl/Context.h"
#include "zor/ogl/ExtensionManager.h"

class GPUImpl;

/// Makes a GPU's context current for the length of one question; the end of the scope puts the
/// previous one back. Throws ZOR::LogicalException when the context can't be made current.
class GLContextScope {
 public:
  explicit GLContextScope(const boost::shared_ptr<ZOR::OGL::Context>& context);

 private:
  ZOR::OGL::ScopedContextWrapper fWrapper;
};

/// The same for questions about extensions.
class GLExtensionScope : public GLContextScope {
 public:
  /// A missing extension set is reported, not thrown: the question goes on.
  explicit GLExtensionScope(const boost::shared_ptr<ZOR::OGL::Context>& context);

  // False for everything when the extension set is missing.
  /// By the report's number.
  bool IsSupported(unsigned extension) const;
  /// By the extension's own name.
  bool IsListed(std::string_view name) const;

 private:
  const ZOR::OGL::ExtensionManager* fExtensions;
};

// The two questions whose answer is whether a driver does what it is told. Both act in the current
// context.

/// Compiles and links the test program: a nine-tap weighted sampler with a blend over a background,
/// for the compatibility profile. It is never drawn with. Throws ZOR::LogicalException when the
/// driver refuses it.
void CompileAndLinkTestProgram();

/// Draws two quads into a small texture with the fixed functions of the compatibility profile.
/// Returns whether no GL error is pending afterwards, one left by earlier calls included. Throws
/// ZOR::LogicalException when the driver lacks a function for it.
bool DrawToTextureLeavesNoError();

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
