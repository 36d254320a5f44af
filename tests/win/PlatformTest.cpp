#include <gtest/gtest.h>
#include <windows.h>

#include <atomic>
#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <thread>

#include "app/Platform.h"
#include "log/Loggers.h"
#include "log/Streams.h"
#include "zor/ogl/HiddenWindow_win.h"

namespace {

using ZOR::OGL::HiddenWindow;

/// How many milliseconds a broadcast takes while this thread looks for messages now and then.
DWORD broadcast() {
  std::atomic<bool> sent{false};
  const DWORD start = GetTickCount();
  std::thread sender([&] {
    for (const UINT message : {WM_SETTINGCHANGE, WM_CLOSE})
      SendMessageTimeoutW(HWND_BROADCAST, message, 0, 0, SMTO_NORMAL, 4000, nullptr);
    sent = true;
  });
  for (; !sent; Sleep(10)) HiddenWindow::AnswerMessages();
  sender.join();
  return GetTickCount() - start;
}

TEST(HiddenWindow, NobodyWaitsForItAndItStays) {
  for (const auto kind : {HiddenWindow::Kind::MessageOnly, HiddenWindow::Kind::TopLevel}) {
    const HiddenWindow window(kind, R"(\\.\DISPLAY1)");
    EXPECT_TRUE(window.drawnByDriver());
    EXPECT_LT(broadcast(), 3000U);
    EXPECT_TRUE(IsWindow(WindowFromDC(window.dc())));
  }
}

TEST(HiddenWindow, TakesTheFirstFormatThatADriverDraws) {
  constexpr DWORD kWindow = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL, kGeneric = PFD_GENERIC_FORMAT;
  std::vector<PIXELFORMATDESCRIPTOR> formats;
  const auto add = [&](DWORD flags, BYTE type = PFD_TYPE_RGBA, BYTE bits = 32) {
    PIXELFORMATDESCRIPTOR& made = formats.emplace_back();
    made.dwFlags = flags;
    made.iPixelType = type;
    made.cColorBits = bits;
  };
  for (const DWORD flags :
       {kWindow | kGeneric, DWORD{PFD_SUPPORT_OPENGL}, DWORD{PFD_DRAW_TO_WINDOW}})
    add(flags);
  add(kWindow, PFD_TYPE_COLORINDEX);
  add(kWindow, PFD_TYPE_RGBA, 16);
  EXPECT_EQ(ZOR::OGL::FirstDriverFormat(formats), 0);
  add(kWindow | kGeneric | PFD_GENERIC_ACCELERATED);
  add(kWindow);
  EXPECT_EQ(ZOR::OGL::FirstDriverFormat(formats), 6);
}

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

}  // namespace
