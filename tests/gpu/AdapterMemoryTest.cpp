#include "gpu/AdapterMemory.h"

#include <gtest/gtest.h>

#include "tests/support/LogCapture.h"

namespace {

constexpr uint64_t MiB = 1 << 20;
constexpr uint64_t GiB = 1 << 30;

TEST(AdapterMemory, RulesByMakerAndSize) {
  const struct {
    AdapterMemory memory;
    uint64_t installed;
    bool integrated;
    uint32_t usableMB;
    bool asksInstalled;
  } cases[] = {
      {{kVendorIntel, 128 * MiB, 16 * MiB, GiB}, 16 * GiB, false, 144, false},
      {{kVendorIntel, 128 * MiB - 1, 0, GiB}, 2 * GiB, true, 639, true},
      {{kVendorIntel, 0, 0, 4 * GiB}, 16 * GiB, true, 2048, true},
      {{kVendorIntel, 64 * MiB, 0, 0}, 16 * GiB, true, 64, false},
      {{kVendorAMD, 64 * MiB, 960 * MiB, 512 * MiB}, 8 * GiB, true, 1024, false},
      {{kVendorAMD, 64 * MiB, 960 * MiB - 1, 512 * MiB}, 8 * GiB, true, 1535, true},
      {{kVendorAMD, 8 * GiB, 0, 512 * MiB}, 8 * GiB, false, 8192, false},
      // 2^51 bytes are 2^31 MiB: negative as the signed figure that the verdict compares.
      {{kVendorAMD, uint64_t{1} << 51, 0, 0}, 8 * GiB, true, 0x80000000, false},
      {{kVendorNVIDIA, 32 * MiB, 0, GiB}, 8 * GiB, false, 32, false},
      {{0, 0, 0, 0}, 8 * GiB, false, 0, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    bool asked = false;
    EXPECT_EQ(LooksIntegrated(c.memory), c.integrated);
    EXPECT_EQ(UsableMemoryMB(c.memory, [&] { return asked = true, c.installed; }), c.usableMB);
    EXPECT_EQ(asked, c.asksInstalled);
  }
}

TEST(AdapterMemory, LogsTheComputation) {
  LogCapture log;
  UsableMemoryMB({kVendorIntel, MiB, 0, 4 * GiB}, [] { return 16 * GiB; });
  EXPECT_EQ(log.take(),
            "642 fAdapterDesc.VendorId=32902\n"
            "646 minDedicatedMBforDiscreteGPU=128\n"
            "648 dedicatedMB=1\n"
            "653 Looks like an integrated GPU\n"
            "664 installedRam=17179869184\n"
            "666 installedRamToConsiderForGPU=4294967296\n"
            "669 installedRamThatGPUCanUse=2147483648\n"
            "671 numBytes=2148532224\n"
            "677 DXGI RAM=2147483648=2048MB\n");
}

}  // namespace
