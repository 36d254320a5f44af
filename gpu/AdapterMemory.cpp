#include "gpu/AdapterMemory.h"

#include <algorithm>

#include "log/Diagnostic.h"

namespace {

// AMD and Intel make both kinds; their discrete parts have at least this much memory of their own.
constexpr int32_t minDedicatedMBforDiscreteGPU = 128;

// From here on an adapter's own memory counts alone.
constexpr uint64_t kEnoughDedicatedBytes = 0x40000000;
// Largest share of system memory, and largest total of an adapter that has such a share.
constexpr uint64_t kMaxSharedBytes = 0x80000000;

bool hasLittleMemory(const AdapterMemory& memory) {
  AdapterDiagnostic(646)("minDedicatedMBforDiscreteGPU=", minDedicatedMBforDiscreteGPU);
  const auto dedicatedMB = static_cast<int32_t>(memory.dedicatedVideo >> 20);
  AdapterDiagnostic(648)("dedicatedMB=", dedicatedMB);
  return dedicatedMB < minDedicatedMBforDiscreteGPU;
}

uint64_t addSystemShare(uint64_t numBytes, uint64_t sharedSystem, uint64_t installedRam) {
  AdapterDiagnostic(664)("installedRam=", installedRam);
  const auto toConsider = static_cast<uint64_t>(static_cast<double>(installedRam) * 0.25);
  AdapterDiagnostic(666)("installedRamToConsiderForGPU=", toConsider);
  const uint64_t canUse = std::min(toConsider, kMaxSharedBytes);
  AdapterDiagnostic(669)("installedRamThatGPUCanUse=", canUse);
  numBytes += std::min(canUse, sharedSystem);
  AdapterDiagnostic(671)("numBytes=", numBytes);
  return std::min(numBytes, kMaxSharedBytes);
}

bool judge(const AdapterMemory& memory) {
  if (memory.knownIntegrated) return *memory.knownIntegrated;
  const bool makesBothKinds = memory.vendorID == kVendorAMD || memory.vendorID == kVendorIntel;
  return makesBothKinds && hasLittleMemory(memory);
}

}  // namespace

bool LooksIntegrated(const AdapterMemory& memory) {
  AdapterDiagnostic(642)("fAdapterDesc.VendorId=", memory.vendorID);
  const bool integrated = judge(memory);
  AdapterDiagnostic(653)("Looks like ", integrated ? "an integrated" : "a discrete", " GPU");
  return integrated;
}

uint32_t UsableMemoryMB(const AdapterMemory& memory,
                        const std::function<uint64_t()>& installedRAM) {
  uint64_t numBytes = memory.dedicatedVideo + memory.dedicatedSystem;
  if (numBytes < kEnoughDedicatedBytes && memory.sharedSystem > 0 && LooksIntegrated(memory)) {
    numBytes = addSystemShare(numBytes, memory.sharedSystem, installedRAM());
  }
  const auto mb = static_cast<uint32_t>(numBytes >> 20);
  AdapterDiagnostic(677)("DXGI RAM=", numBytes, "=", mb, "MB");
  return mb;
}
