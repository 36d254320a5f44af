#include <gtest/gtest.h>
#include <windows.h>

#include "Platform.h"

// gtest itself sets the mode, so it is cleared first.
TEST(Platform, NoDialogStopsTheProbe) {
  const UINT old = SetErrorMode(0);
  PreparePlatform();
  EXPECT_EQ(SetErrorMode(old) & 3, 3U);
}
