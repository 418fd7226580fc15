// Dragging by the face and the once-a-second pass.

#include "face_fixture.h"
#include "panel/painting.h"
#include "panel/timers.h"
#include "panel/tips.h"
#include "platform/headless/headless.h"
#include "platform/tooltips.h"

namespace {

// Rest face 0x000010 + column, lit face 0x100000: tells which face is shown.
void SyntheticSkin() {
  Panel().SkinBitmap = std::make_unique<Bitmap>(
      MakePicture(699, 593, 24, [](int x, int) { return x < 351 ? 0x000010u : 0x100000u; }));
}

} // namespace

using Timers = FaceTest;

TEST_F(Timers, DragFollowsTheCursorFromFreeFaceOnly) {
  Panel().HoverCode = 20010;
  PanelButtonDown(window);
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_TRUE(info.timers.empty()) << "a press on a zone starts no drag";

  Panel().HoverCode = 0;
  Panel().PanelLeft = 100;
  Panel().PanelTop = 100;
  HeadlessSetCursor(Point{150, 120});
  PanelButtonDown(window);
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  ASSERT_EQ(info.timers.size(), 1u);
  EXPECT_EQ(info.timers[0], DragTimer);

  HeadlessClearCalls();
  DragStep(window); // cursor at rest: nothing moves
  EXPECT_TRUE(HeadlessCallsOf("setWindowPos", window).empty());

  HeadlessSetCursor(Point{170, 110});
  DragStep(window);
  EXPECT_EQ(Box(window), "120,90 350x593");

  // Guard: the left edge may never pass the cursor.
  Panel().PanelLeft = 500;
  HeadlessSetCursor(Point{171, 111});
  DragStep(window);
  EXPECT_EQ(Panel().PanelLeft, 171);
  EXPECT_EQ(Panel().PanelTop, 111);
}

TEST_F(Timers, BlinkWrapsAfterSixtyOneTicks) {
  SyntheticSkin();
  Canvas* c = WinGetCanvas(window);
  std::vector<bool> lit;
  for (int tick = 0; tick < 64; ++tick) {
    OnceASecondPass(window);
    lit.push_back(At(c, 170, 550) == 0x100000u);
  }
  EXPECT_TRUE(lit[1]);
  EXPECT_FALSE(lit[61]) << "60 and 0 are both even";
  EXPECT_TRUE(lit[62]);
  EXPECT_EQ(Panel().TickCount, 3);
  WinReleaseCanvas(window, c);
}

TEST_F(Timers, ProgressLightsOnlyOnTheirChannels) {
  SyntheticSkin();
  Canvas* c = WinGetCanvas(window);
  Panel().CollectStatus.Set("busy");
  for (int channel : {ChannelImage, ChannelHome}) {
    Panel().Channel = channel;
    Panel().PreviousChannel = channel;
    Panel().ShownChannel = channel;
    for (int tick = 0; tick < 2; ++tick) {
      OnceASecondPass(window);
      EXPECT_EQ(At(c, 100, 60), 0u) << "channel " << channel << " shows no light";
    }
  }
  Panel().Channel = ChannelGame;
  Panel().PreviousChannel = ChannelGame;
  Panel().ShownChannel = ChannelGame;
  Panel().TickCount = 0;
  OnceASecondPass(window); // TickCount 1: lit phase
  EXPECT_EQ(At(c, 100, 60), 0x100000u);
  EXPECT_EQ(At(c, 70, 60), 0u) << "the phone line is empty";
  OnceASecondPass(window);
  EXPECT_EQ(At(c, 100, 60), 0x000010u);

  // Turned: the light sits at (519, 90), 16 x 25.
  Panel().PanelRotation = 90;
  WinSetWindowPos(window, HWND_TOP, 0, 0, 593, 350, SWP_NOZORDER);
  WinReleaseCanvas(window, c);
  c = WinGetCanvas(window);
  Panel().SkinBitmap = std::make_unique<Bitmap>(
      MakePicture(593, 699, 24, [](int, int y) { return y < 351 ? 0x000010u : 0x100000u; }));
  Panel().TickCount = 0;
  OnceASecondPass(window);
  EXPECT_EQ(At(c, 519, 90), 0x100000u);
  EXPECT_EQ(At(c, 534, 114), 0x100000u);
  EXPECT_EQ(At(c, 518, 90), 0u);
  // The blink while turned: (22, 160), 24 x 26, from (22, 511) when lit.
  OnceASecondPass(window);
  EXPECT_EQ(At(c, 22, 160), 0x100000u);
  EXPECT_EQ(At(c, 45, 185), 0x100000u);
  WinReleaseCanvas(window, c);
}

TEST_F(Timers, CatchUpBringsTipsInLine) {
  SyntheticSkin();
  Panel().TooltipWindow = CreateTips(window);
  Hwnd tip = Panel().TooltipWindow;
  auto text = [&](int zone) {
    ToolRecord tool;
    TooltipGetTool(tip, zone, &tool);
    return tool.Text;
  };
  Panel().Channel = ChannelImage;
  Panel().PreviousChannel = ChannelClock;
  Panel().ShownChannel = ChannelClock;
  OnceASecondPass(window);
  EXPECT_EQ(text(7), "Pause");
  EXPECT_EQ(text(20), "Collect Games from Cache");
  EXPECT_EQ(Panel().ShownChannel, ChannelImage);

  Panel().PreviousChannel = ChannelImage;
  Panel().Channel = ChannelGame;
  OnceASecondPass(window);
  EXPECT_EQ(text(7), "Refresh");
  EXPECT_EQ(text(0), "Close/Delete");
  EXPECT_EQ(text(20), "");

  // Back to the same value as PreviousChannel: no catch-up.
  Panel().PreviousChannel = ChannelGame;
  Panel().Channel = ChannelHome;
  Panel().ShownChannel = ChannelHome;
  Panel().Channel = ChannelGame;
  OnceASecondPass(window);
  EXPECT_EQ(Panel().ShownChannel, ChannelHome);
}
