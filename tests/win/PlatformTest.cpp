#include <gtest/gtest.h>
#include <windows.h>

#include "Platform.h"

// gtest itself sets the mode, so it is cleared first.
TEST(Platform, NoDialogStopsTheProbe) {
  const UINT old = SetErrorMode(0);
  PreparePlatform();
  EXPECT_EQ(SetErrorMode(old) & 3, 3U);
}

// The system takes the whole manifest or, after a mistake in it, nothing.
TEST(Platform, ManifestAsksForEachMonitorsOwnDots) {
  wchar_t value[50] = L"";
  QueryActCtxSettingsW(0, nullptr, L"http://schemas.microsoft.com/SMI/2016/WindowsSettings",
                       L"dpiAwareness", &value[0], 50, nullptr);
  EXPECT_STREQ(&value[0], L"PerMonitorV2, PerMonitor");
}
