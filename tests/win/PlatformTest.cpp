#include <gtest/gtest.h>
#include <windows.h>

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "app/Platform.h"
#include "log/Loggers.h"
#include "log/Streams.h"

// gtest itself sets the mode, so it is cleared first.
TEST(PlatformDeathTest, EndsWithoutDialogOrUsageCode) {
  using End = void (*)();
  for (const End end : {End{std::abort}, End{std::terminate}, End{[] { assert(!"asserted"); }}}) {
    const auto die = [&] {
      SetErrorMode(0);
      PreparePlatform();
      std::fprintf(stderr, "mode %u, last words", SetErrorMode(0) & 3);
      end();
    };
    EXPECT_EXIT(die(), testing::ExitedWithCode(static_cast<int>(0xC0000409)), "mode 3, last words");
  }
}

// Every way on which a driver might print, a half line included.
TEST(PlatformDeathTest, StandardOutputIsOursAlone) {
  const auto print = [] {
    PreparePlatform();
    std::printf("by C, ");
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "by Win32, ", 10, nullptr, nullptr);
    writeLine(reportStream(), "ours");
    std::printf("%s.", SnifferLogger().name().c_str());
    LeaveProcess(5);
  };
  EXPECT_EXIT(print(), testing::ExitedWithCode(5), "by C, by Win32, stdout\\.");
}

// The system takes the whole manifest or, after a mistake in it, nothing.
TEST(Platform, ManifestAsksForEachMonitorsOwnDots) {
  wchar_t value[50] = L"";
  QueryActCtxSettingsW(0, nullptr, L"http://schemas.microsoft.com/SMI/2016/WindowsSettings",
                       L"dpiAwareness", &value[0], 50, nullptr);
  EXPECT_STREQ(&value[0], L"PerMonitorV2, PerMonitor");
}
