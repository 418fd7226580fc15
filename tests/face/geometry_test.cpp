// Hit zones, keeping on screen, turning and the tray icon (the window's shape
// and the lit button under the mouse are checked on a display).
#include <fstream>
#include <vector>

#include "face_fixture.h"
#include "panel/geometry.h"
#include "panel/skins.h"
#include "panel/tips.h"
#include "platform/headless/headless.h"
#include "platform/ini.h"
#include "platform/tooltips.h"
#include "shell/tray.h"

using Geometry = FaceTest;

TEST_F(Geometry, HitTestZoneIsStrictAndFollowsTheTurn) {
  struct Row {
    const char* name;
    int rotation, x, y;
    std::uint32_t code;
  } rows[] = {
      {"inside zone 0", 0, 316, 66, 20010},           {"left edge of zone 0", 0, 306, 66, 0},
      {"bottom edge of zone 0", 0, 316, 74, 0},       {"big button 1", 0, 50, 500, 20080},
      {"small button", 0, 173, 558, 20130},           {"turned zone 17", 90, 526, 170, 20180},
      {"upright point while turned", 90, 170, 66, 0}, {"turned big button 5", 90, 92, 300, 20120},
  };
  for (const Row& row : rows) {
    Panel().PanelRotation = row.rotation;
    EXPECT_EQ(HitTestZone(row.x, row.y), row.code) << row.name;
  }
  for (int rotation : {0, 90}) { // zones without area are never hit
    Panel().PanelRotation = rotation;
    for (int y = 0; y < 700; ++y)
      for (int x = 0; x < 700; ++x)
        for (std::uint32_t none : {20070u, 20140u, 20150u, 20160u, 20170u, 20250u})
          ASSERT_NE(HitTestZone(x, y), none) << x << "," << y;
  }
}

TEST_F(Geometry, CentreAndKeepOnScreen) {
  HeadlessSetScreen(1001, 801);
  CentrePanel(window);
  EXPECT_EQ(Box(window), "325,104 350x593");
  struct Row {
    int left, top;
    bool pulled;
  } rows[] = {
      {1001 - 5, 10, false}, {1001 - 4, 10, true}, {10, 801 - 4, true}, {-500, -300, false}};
  for (const Row& row : rows) {
    WinSetWindowPos(window, HWND_TOP, row.left, row.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    Panel().PanelLeft = -1;
    KeepPanelOnScreen(window);
    std::string stays = std::to_string(row.left) + "," + std::to_string(row.top) + " 350x593";
    EXPECT_EQ(Box(window), row.pulled ? "651,209 350x593" : stays) << row.left << "," << row.top;
    EXPECT_EQ(Panel().PanelLeft, row.pulled ? 651 : -1);
  }
}

TEST_F(Geometry, TurnAndUnturnMoveEverythingAndStoreTheTurn) {
  CopySkin("@VEXANH.BMP", "@VEXANH.BMP");
  Panel().SkinBitmap = LoadSkin(nullptr, Beside("@VEXANH.BMP").c_str());
  ASSERT_TRUE(Panel().SkinBitmap);
  Panel().TooltipWindow = CreateTips(window);
  Panel().PaneSlots[2] = 7;
  Panel().PaneSlots[5] = 9;
  BuildOutline(1);
  Panel().PanelRegion = true;
  HeadlessSetCursor(Point{900, 400});
  HeadlessClearCalls();
  auto rotate = [&] { return IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"); };

  TurnPanel(window, 0);
  EXPECT_EQ(Panel().PanelRotation, 90);
  EXPECT_EQ(Box(window), "370,245 593x350") << "the cursor keeps its place on the face";
  EXPECT_EQ(Panel().PanelLeft, 370);
  EXPECT_EQ(rotate(), "90");
  auto regions = HeadlessCallsOf("setWindowRegion", window);
  ASSERT_EQ(regions.size(), 1u);
  EXPECT_EQ(regions[0].x, 0) << "the old region is removed, the new one waits for the paint";
  EXPECT_EQ(Panel().PanelOutline[0].x, 592 - 36);
  for (Hwnd pane : {Hwnd(7), Hwnd(9)}) {
    auto moves = HeadlessCallsOf("setWindowPos", pane);
    ASSERT_EQ(moves.size(), 1u);
    EXPECT_EQ(std::vector<int>({moves[0].x, moves[0].y, moves[0].cx, moves[0].cy}),
              std::vector<int>({122, 20, 396, 310}));
  }
  EXPECT_EQ(TooltipTextAt(window, 526, 170), "Rotate");
  EXPECT_EQ(Panel().SkinBitmap->Width, 593);

  HeadlessSetCursor(Point{5, 5});
  UnturnPanel(window, 99);
  EXPECT_EQ(Panel().PanelRotation, 0);
  EXPECT_EQ(Box(window), "465,103 350x593") << "99 centres whatever the cursor";
  EXPECT_EQ(rotate(), "0");
  EXPECT_EQ(TooltipTextAt(window, 170, 66), "Rotate");
  EXPECT_EQ(Panel().SkinBitmap->Width, 699);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", 7).back().x, 20);
}

TEST_F(Geometry, UnturnTakesTheFallbackSkinOrStaysTurnedAsAWhole) {
  for (bool fallback : {false, true}) {
    if (fallback) // only the fallback, as the start takes it
      CopySkin("@VEXANH.BMP", "@VEXANL.BMP");
    Panel().PanelRotation = 90;
    std::ofstream(Beside("Define.ini")) << "[@Vexan]\nRotate=90\n";
    Panel().SkinBitmap =
        std::make_unique<Bitmap>(MakePicture(593, 699, 24, [](int, int) { return 0u; }));
    WinSetWindowPos(window, HWND_TOP, 10, 10, 593, 350, SWP_NOZORDER);
    UnturnPanel(window, 99);
    EXPECT_EQ(Panel().PanelRotation, fallback ? 0 : 90);
    EXPECT_EQ(IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"),
              fallback ? "0" : "90");
    EXPECT_EQ(fallback ? Box(window).substr(Box(window).find(' ')) : Box(window),
              fallback ? " 350x593" : "10,10 593x350");
    ASSERT_TRUE(Panel().SkinBitmap);
    EXPECT_EQ(Panel().SkinBitmap->Width, fallback ? 699 : 593);
  }
}

TEST_F(Geometry, TrayIconClicksAndMenu) {
  EXPECT_NE(TrayIcon(window, 0), 0);
  EXPECT_EQ(HeadlessTrayIcons(), 1);
  TrayIcon(window, 2);
  EXPECT_EQ(HeadlessTrayIcons(), 0);
  WinShowWindow(window, SW_HIDE);
  HeadlessClearCalls();
  TrayEvent(window, 2010, WM_LBUTTONDBLCLK);
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_TRUE(info.visible && !info.topmost);
  auto moves = HeadlessCallsOf("setWindowPos", window);
  ASSERT_EQ(moves.size(), 2u);
  EXPECT_EQ(std::pair(moves[0].after, moves[1].after), std::pair(HWND_TOPMOST, HWND_NOTOPMOST));
  EXPECT_EQ(HeadlessCallsOf("setForeground", window).size(), 1u);
  HeadlessClearCalls();
  TrayEvent(window, 2011, WM_LBUTTONDOWN);     // another id
  TrayEvent(window, 2010, WM_RBUTTONDOWN + 1); // the release is ignored
  TrayEvent(window, 7, WM_RBUTTONDOWN);
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
}
