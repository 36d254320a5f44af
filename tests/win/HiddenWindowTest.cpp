#include "zor/ogl/HiddenWindow_win.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using ZOR::OGL::HiddenWindow;

namespace {

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
  for (const auto kind : {HiddenWindow::Kind::kMessageOnly, HiddenWindow::Kind::kTopLevel}) {
    const HiddenWindow window(kind, R"(\\.\DISPLAY1)");
    EXPECT_TRUE(window.drawnByDriver());
    EXPECT_LT(broadcast(), 3000U);
    EXPECT_TRUE(IsWindow(WindowFromDC(window.dc())));
  }
}

TEST(HiddenWindow, TakesTheFirstFormatThatADriverDraws) {
  constexpr DWORD kWindow = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL, kGeneric = PFD_GENERIC_FORMAT;
  const auto format = [](DWORD flags, BYTE type = PFD_TYPE_RGBA, BYTE bits = 32) {
    PIXELFORMATDESCRIPTOR made{};
    made.dwFlags = flags;
    made.iPixelType = type;
    made.cColorBits = bits;
    return made;
  };
  std::vector<PIXELFORMATDESCRIPTOR> formats = {
      format(kWindow | kGeneric), format(PFD_SUPPORT_OPENGL), format(PFD_DRAW_TO_WINDOW),
      format(kWindow, PFD_TYPE_COLORINDEX), format(kWindow, PFD_TYPE_RGBA, 16)};
  EXPECT_EQ(ZOR::OGL::FirstDriverFormat(formats), 0);
  formats.push_back(format(kWindow | kGeneric | PFD_GENERIC_ACCELERATED));
  formats.push_back(format(kWindow));
  EXPECT_EQ(ZOR::OGL::FirstDriverFormat(formats), 6);
}

}  // namespace
