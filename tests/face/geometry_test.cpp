// Hit zones, keeping on screen, turning and the tray icon (the window's shape
// and the lit button under the mouse are checked on a display).
#include <tuple>
#include <vector>

#include "face_fixture.h"
#include "panel/geometry.h"
#include "panel/skins.h"
#include "platform/ini.h"
#include "shell/tray.h"

using Geometry = FaceTest;

TEST_F(Geometry, HitTestZoneIsStrictAndFollowsTheTurn) {
  struct Row {
    int rotation, x, y;
    std::uint32_t code;
  } rows[] = {{0, 316, 66, 20010},  {0, 306, 66, 0},       {0, 316, 74, 0},  {0, 50, 500, 20080},
              {0, 173, 558, 20130}, {90, 526, 170, 20180}, {90, 170, 66, 0}, {90, 92, 300, 20120}};
  for (const Row& row : rows) {
    Panel().PanelRotation = row.rotation;
    EXPECT_EQ(HitTestZone(row.x, row.y), row.code) << row.rotation << " " << row.x << "," << row.y;
  }
}

TEST_F(Geometry, CentreAndKeepOnScreen) {
  HeadlessSetScreen(1001, 801);
  CentrePanel(window);
  EXPECT_EQ(Box(window), "325,104 350x593");
  struct Row {
    int left, top;
    bool pulled;
  } rows[] = {{996, 10, false}, {997, 10, true}, {10, 797, true}, {-500, -300, false}};
  for (const Row& row : rows) {
    WinSetWindowPos(window, HWND_TOP, row.left, row.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    Panel().PanelLeft = -1;
    KeepPanelOnScreen(window);
    std::string stays = std::to_string(row.left) + "," + std::to_string(row.top) + " 350x593";
    EXPECT_EQ(Box(window), row.pulled ? "651,209 350x593" : stays) << row.left << "," << row.top;
    EXPECT_EQ(Panel().PanelLeft, row.pulled ? 651 : -1);
  }
}

TEST_F(Geometry, TurnAndUnturnMoveEverythingStoreTheTurnAndNeedAnUprightSkin) {
  CopySkin("@VEXANH.BMP", "@VEXANH.BMP");
  Panel().SkinBitmap = LoadSkin(nullptr, Beside("@VEXANH.BMP").c_str());
  ASSERT_TRUE(Panel().SkinBitmap);
  Panel().PaneSlots[2] = 7;
  BuildOutline(1);
  Panel().PanelRegion = true;
  HeadlessSetCursor(Point{900, 400});
  HeadlessClearCalls();
  auto rotate = [&] { return IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"); };
  TurnPanel(window, 0);
  EXPECT_EQ(Box(window), "370,245 593x350") << "the cursor keeps its place on the face";
  EXPECT_EQ(rotate(), "90");
  EXPECT_EQ(HeadlessCallsOf("setWindowRegion", window).at(0).x, 0) << "old region removed";
  auto moves = HeadlessCallsOf("setWindowPos", 7);
  ASSERT_EQ(moves.size(), 1u);
  EXPECT_EQ(std::vector<int>({moves[0].x, moves[0].y, moves[0].cx, moves[0].cy}),
            std::vector<int>({122, 20, 396, 310}));
  EXPECT_EQ(Panel().SkinBitmap->Width, 593);
  HeadlessSetCursor(Point{5, 5});
  UnturnPanel(window, 99);
  EXPECT_EQ(Box(window), "465,103 350x593") << "99 centres whatever the cursor";
  EXPECT_EQ(rotate(), "0");
  EXPECT_EQ(Panel().SkinBitmap->Width, 699);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", 7).back().x, 20);
  // Without an upright skin the Panel stays turned as a whole; the fallback
  // skin is taken as at the start.
  TurnPanel(window, 0);
  std::filesystem::remove(Beside("@VEXANH.BMP"));
  const std::string turned = Box(window);
  UnturnPanel(window, 99);
  EXPECT_EQ(
      std::tuple(Box(window), rotate(), Panel().PanelRotation.load(), Panel().SkinBitmap->Width),
      std::tuple(turned, std::string("90"), 90, 593));
  CopySkin("@VEXANH.BMP", "@VEXANL.BMP");
  UnturnPanel(window, 99);
  EXPECT_EQ(
      std::tuple(Box(window), rotate(), Panel().PanelRotation.load(), Panel().SkinBitmap->Width),
      std::tuple(std::string("465,103 350x593"), std::string("0"), 0, 699));
}

TEST_F(Geometry, TrayIconClicksAndMenu) {
  EXPECT_NE(TrayIcon(window, 0), 0);
  WinShowWindow(window, SW_HIDE);
  TrayEvent(window, 2010, WM_LBUTTONDBLCLK);
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_TRUE(info.visible && !info.topmost);
  HeadlessSetTrayAvailable(false);
  EXPECT_EQ(TrayIcon(window, 0), 0);
  HeadlessSetCursor(Point{640, 790});
  TrayEvent(window, 2010, WM_RBUTTONDOWN);
  auto menus = HeadlessCallsOf("trackPopupMenu", window);
  ASSERT_EQ(menus.size(), 1u);
  EXPECT_EQ(std::pair(menus[0].x, menus[0].y), std::pair(640, 790));
  EXPECT_NE(menus[0].text.find("&Exit"), std::string::npos) << menus[0].text;
}
