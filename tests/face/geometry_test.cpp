// Hit zones, centring, keeping on screen, hover lighting and turning (the
// window's shape is checked on a display).
#include <fstream>
#include <vector>

#include "face_fixture.h"
#include "panel/geometry.h"
#include "panel/skins.h"
#include "panel/tips.h"
#include "platform/headless/headless.h"
#include "platform/ini.h"
#include "platform/tooltips.h"

using Geometry = FaceTest;

TEST_F(Geometry, HitTestZoneIsStrictAndFollowsTheTurn) {
  struct Row {
    const char* name;
    int rotation, x, y;
    std::uint32_t code;
  };
  const Row rows[] = {
      {"inside zone 0", 0, 316, 66, 20010},
      {"left edge of zone 0", 0, 306, 66, 0},
      {"bottom edge of zone 0", 0, 316, 74, 0},
      {"big button 1", 0, 50, 500, 20080},
      {"small button", 0, 173, 558, 20130},
      {"turned point of zone 17", 90, 526, 170, 20180},
      {"upright coordinates while turned", 90, 170, 66, 0},
      {"turned big button 5", 90, 592 - 500, 300, 20120},
  };
  for (const Row& row : rows) {
    Panel().PanelRotation = row.rotation;
    EXPECT_EQ(HitTestZone(row.x, row.y), row.code) << row.name;
  }
  // No point ever yields a zone without area.
  for (int rotation : {0, 90}) {
    Panel().PanelRotation = rotation;
    for (int y = 0; y < 700; ++y)
      for (int x = 0; x < 700; ++x) {
        std::uint32_t code = HitTestZone(x, y);
        ASSERT_TRUE(code != 20070 && code != 20140 && code != 20150 && code != 20160 &&
                    code != 20170 && code != 20250)
            << x << "," << y;
      }
  }
}

TEST_F(Geometry, CentreAndKeepOnScreen) {
  HeadlessSetScreen(1001, 801);
  CentrePanel(window);
  EXPECT_EQ(Box(window), "325,104 350x593");

  struct Row {
    const char* name;
    int left, top;
    bool pulled;
  };
  const Row rows[] = {
      {"left at width - 5 stays", 1001 - 5, 10, false},
      {"left at width - 4 is pulled back", 1001 - 4, 10, true},
      {"top at height - 4 is pulled back", 10, 801 - 4, true},
      {"off to the left stays", -500, -300, false},
  };
  for (const Row& row : rows) {
    WinSetWindowPos(window, HWND_TOP, row.left, row.top, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
    Panel().PanelLeft = -1;
    KeepPanelOnScreen(window);
    if (row.pulled) {
      EXPECT_EQ(Box(window), "651,209 350x593") << row.name;
      EXPECT_EQ(Panel().PanelLeft, 651) << row.name;
      EXPECT_EQ(Panel().PanelTop, 209) << row.name;
    } else {
      EXPECT_EQ(Box(window), std::to_string(row.left) + "," + std::to_string(row.top) + " 350x593")
          << row.name;
      EXPECT_EQ(Panel().PanelLeft, -1) << row.name;
    }
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

  TurnPanel(window, 0);
  EXPECT_EQ(Panel().PanelRotation, 90);
  EXPECT_EQ(Box(window), "370,245 593x350") << "the cursor keeps its place on the face";
  EXPECT_EQ(Panel().PanelLeft, 370);
  EXPECT_EQ(Panel().PanelTop, 245);
  EXPECT_EQ(IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"), "90");
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
  ToolRecord tool;
  ASSERT_TRUE(TooltipGetTool(Panel().TooltipWindow, 17, &tool));
  EXPECT_EQ(std::vector<int>({tool.Area.left, tool.Area.top, tool.Area.right, tool.Area.bottom}),
            std::vector<int>({518, 162, 534, 185}));
  ASSERT_TRUE(Panel().SkinBitmap);
  EXPECT_EQ(Panel().SkinBitmap->Width, 593);
  EXPECT_EQ(Panel().SkinBitmap->Height, 699);
  EXPECT_FALSE(HeadlessCallsOf("invalidate", window).empty());

  HeadlessSetCursor(Point{5, 5});
  UnturnPanel(window, 99);
  EXPECT_EQ(Panel().PanelRotation, 0);
  EXPECT_EQ(Box(window), "465,103 350x593") << "99 centres whatever the cursor";
  EXPECT_EQ(IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"), "0");
  EXPECT_EQ(Panel().PanelOutline[0].x, 1);
  ASSERT_TRUE(TooltipGetTool(Panel().TooltipWindow, 17, &tool));
  EXPECT_EQ(tool.Area.left, 162);
  ASSERT_TRUE(Panel().SkinBitmap);
  EXPECT_EQ(Panel().SkinBitmap->Width, 699);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", 7).back().x, 20);
}

TEST_F(Geometry, UnturnTakesTheFallbackSkinOrStaysTurnedAsAWhole) {
  auto turned = [&] {
    Panel().PanelRotation = 90;
    std::ofstream(Beside("Define.ini")) << "[@Vexan]\nRotate=90\n";
    Panel().SkinBitmap =
        std::make_unique<Bitmap>(MakePicture(593, 699, 24, [](int, int) { return 0u; }));
    WinSetWindowPos(window, HWND_TOP, 10, 10, 593, 350, SWP_NOZORDER);
  };
  turned(); // no skin at all: nothing changes
  UnturnPanel(window, 99);
  EXPECT_EQ(Panel().PanelRotation, 90);
  EXPECT_EQ(IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"), "90");
  EXPECT_EQ(Box(window), "10,10 593x350");
  EXPECT_EQ(Panel().SkinBitmap->Width, 593);

  CopySkin("@VEXANH.BMP", "@VEXANL.BMP"); // only the fallback, as the start takes it
  turned();
  UnturnPanel(window, 99);
  EXPECT_EQ(Panel().PanelRotation, 0);
  EXPECT_EQ(IniReadString(Beside("Define.ini").c_str(), "@Vexan", "Rotate"), "0");
  EXPECT_EQ(Box(window).substr(Box(window).find(' ')), " 350x593");
  ASSERT_TRUE(Panel().SkinBitmap);
  EXPECT_EQ(Panel().SkinBitmap->Width, 699);
}

TEST_F(Geometry, HoverLightsTheNewZoneBeforeTheOldGoesOut) {
  // Rest face all 0x000010, lit face all 0x100000: the overlap column 186
  // shared by zone 17 (162..186) and zone 5 (186..210) tells the order.
  Panel().SkinBitmap = std::make_unique<Bitmap>(
      MakePicture(699, 593, 24, [](int x, int) { return x < 351 ? 0x000010u : 0x100000u; }));
  Canvas* canvas = WinGetCanvas(window);
  auto pos = [](int x, int y) { return LParam(x | (y << 16)); };
  HeadlessClearCalls();

  PanelMouseMove(window, 0, pos(198, 66)); // zone 5
  EXPECT_EQ(Panel().HoverCode, 20060u);
  EXPECT_EQ(At(canvas, 190, 60), 0x100000u);
  EXPECT_EQ(HeadlessCallsOf("killTimer", window).size(), 1u) << "no button held: drag stops";

  PanelMouseMove(window, MK_LBUTTON, pos(199, 67));           // same zone: nothing drawn
  EXPECT_EQ(HeadlessCallsOf("getCanvas", window).size(), 1u); // the first move's only
  EXPECT_EQ(HeadlessCallsOf("killTimer", window).size(), 1u);

  PanelMouseMove(window, MK_LBUTTON, pos(174, 66)); // zone 17
  EXPECT_EQ(Panel().LastHover, 20180u);
  EXPECT_EQ(At(canvas, 170, 60), 0x100000u);
  EXPECT_EQ(At(canvas, 190, 60), 0x000010u);
  EXPECT_EQ(At(canvas, 186, 60), 0x000010u) << "the old zone is drawn after the new one";

  PanelMouseMove(window, 0, pos(170, 300)); // nowhere: only the old goes out
  EXPECT_EQ(Panel().HoverCode, 0u);
  EXPECT_EQ(At(canvas, 170, 60), 0x000010u);
  WinReleaseCanvas(window, canvas);
}
