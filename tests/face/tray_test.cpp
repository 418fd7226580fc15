// The tray icon, its menu and the click rules.
#include <utility>

#include "face_fixture.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "shell/tray.h"

using Tray = FaceTest;

TEST_F(Tray, IconClicksAndMenu) {
  EXPECT_NE(TrayIcon(window, 0), 0);
  EXPECT_EQ(HeadlessTrayIcons(), 1);
  TrayIcon(window, 2);
  EXPECT_EQ(HeadlessTrayIcons(), 0);
  WinShowWindow(window, SW_HIDE);
  HeadlessClearCalls();
  TrayEvent(window, 2010, WM_LBUTTONDBLCLK);
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_TRUE(info.visible);
  EXPECT_FALSE(info.topmost);
  auto moves = HeadlessCallsOf("setWindowPos", window);
  ASSERT_EQ(moves.size(), 2u);
  EXPECT_EQ(moves[0].after, HWND_TOPMOST);
  EXPECT_EQ(moves[1].after, HWND_NOTOPMOST);
  EXPECT_EQ(HeadlessCallsOf("setForeground", window).size(), 1u);

  HeadlessClearCalls();
  TrayEvent(window, 2011, WM_LBUTTONDOWN);
  TrayEvent(window, 2010, WM_RBUTTONDOWN + 1); // the release is ignored
  EXPECT_TRUE(HeadlessCalls().empty());
  HeadlessSetTrayAvailable(false);
  EXPECT_EQ(TrayIcon(window, 0), 0);

  HeadlessSetCursor(Point{640, 790});
  TrayEvent(window, 2010, WM_RBUTTONDOWN);
  auto menus = HeadlessCallsOf("trackPopupMenu", window);
  ASSERT_EQ(menus.size(), 1u);
  EXPECT_EQ(std::pair(menus[0].x, menus[0].y), std::pair(640, 790));
  EXPECT_NE(menus[0].text.find("&Open UI"), std::string::npos) << menus[0].text;
  EXPECT_NE(menus[0].text.find("&Exit"), std::string::npos);
  HeadlessClearCalls();
  TrayEvent(window, 7, WM_RBUTTONDOWN); // another id: no menu
  EXPECT_TRUE(HeadlessCallsOf("trackPopupMenu", window).empty());
}
