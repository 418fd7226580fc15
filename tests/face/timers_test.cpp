// Dragging by the face, the once-a-second pass and the tips it keeps in line.
#include <vector>

#include "face_fixture.h"
#include "panel/painting.h"
#include "panel/timers.h"
#include "panel/tips.h"
#include "platform/tooltips.h"

using Timers = FaceTest;

TEST_F(Timers, DragFollowsTheCursorFromFreeFaceOnly) {
  HeadlessWindow info;
  Panel().HoverCode = 20010;
  PanelButtonDown(window);
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_TRUE(info.timers.empty()) << "a press on a zone starts no drag";
  Panel().HoverCode = 0;
  Panel().PanelLeft = Panel().PanelTop = 100;
  HeadlessSetCursor(Point{150, 120});
  PanelButtonDown(window);
  ASSERT_TRUE(HeadlessWindowInfo(window, &info));
  EXPECT_EQ(info.timers, std::vector<int>{DragTimer});
  HeadlessSetCursor(Point{170, 110});
  DragStep(window);
  EXPECT_EQ(Box(window), "120,90 350x593");
}

TEST_F(Timers, BlinkWrapsAfterSixtyOneTicksAndProgressLightsOnTheirChannels) {
  Panel().SkinBitmap = std::make_unique<Bitmap>(TwoFaces());
  Canvas* c = WinGetCanvas(window);
  std::vector<bool> lit;
  for (int tick = 0; tick < 64; ++tick) {
    OnceASecondPass(window);
    lit.push_back(At(c, 170, 550) == 0x100000u);
  }
  EXPECT_EQ(std::vector<bool>({lit[1], lit[2], lit[61], lit[62]}),
            std::vector<bool>({true, false, false, true}))
      << "60 and 0 are both even";

  Panel().CollectStatus.Set("busy");
  Panel().Channel = Panel().PreviousChannel = Panel().ShownChannel = ChannelGame;
  Panel().TickCount = 0;
  OnceASecondPass(window); // TickCount 1: lit phase
  EXPECT_EQ(At(c, 100, 60), 0x100000u);
  OnceASecondPass(window);
  EXPECT_EQ(At(c, 100, 60), 0x000010u);
  WinReleaseCanvas(window, c);
}

TEST_F(Timers, TipsFollowTheChannelAndTheStatusLines) {
  Panel().SkinBitmap = std::make_unique<Bitmap>(TwoFaces());
  Panel().TooltipWindow = CreateTips(window);
  auto text = [](int zone) {
    ToolRecord tool;
    return TooltipGetTool(Panel().TooltipWindow, zone, &tool) ? tool.Text : "<no tool>";
  };
  // The pass catches up with a channel change, not with a change and back.
  Panel().Channel = ChannelGame;
  Panel().PreviousChannel = Panel().ShownChannel = ChannelClock;
  OnceASecondPass(window);
  EXPECT_EQ(std::pair(text(7), text(0)),
            std::pair(std::string("Refresh"), std::string("Close/Delete")));
  Panel().PreviousChannel = ChannelGame;
  Panel().ShownChannel = ChannelHome;
  OnceASecondPass(window);
  EXPECT_EQ(Panel().ShownChannel, ChannelHome);
  // The image player's buttons (it collects nothing), and back to their own texts.
  Panel().Channel = ChannelImage;
  Panel().PreviousChannel = ChannelClock;
  OnceASecondPass(window);
  EXPECT_EQ((std::vector{text(3), text(4), text(5), text(7), text(10), text(20), text(21)}),
            (std::vector<std::string>{"Next Picture", "Previous Picture", "Reload the Pictures",
                                      "Pause", "Next Picture", "", ""}));
  Panel().Channel = ChannelGame;
  Panel().PreviousChannel = ChannelImage;
  OnceASecondPass(window);
  EXPECT_EQ((std::vector{text(3), text(4), text(5), text(7)}),
            (std::vector<std::string>{"Forward", "Backward", "Refresh", "Refresh"}));
  std::string longLine;
  while (longLine.size() < 400)
    longLine += "é";                               // two bytes each
  const std::string cut = longLine.substr(0, 254); // 255 bytes at most, whole characters
  struct Row {
    int channel, dailyMode, zone;
    const char *collect, *phone, *text;
  } rows[] = {{ChannelVideoSite, 0, 20, "", "", "Collect the Video"},
              {ChannelGame, 0, 20, "3 of 9", "", ""},
              {ChannelVideoSite, 0, 20, "3 of 9", "", "3 of 9"},
              {ChannelGame, 1, 21, "", "", "Daily Collection(Prompt)Setting:Right-Click"},
              {ChannelHome, 2, 21, "", "copying", "copying"},
              {ChannelHome, 2, 21, "", longLine.c_str(), cut.c_str()}};
  for (const Row& row : rows) {
    Panel().Channel = row.channel;
    Panel().DailyMode = row.dailyMode;
    Panel().CollectStatus.Set(row.collect);
    Panel().PhoneStatus.Set(row.phone);
    UpdateTip(window, Panel().TooltipWindow, row.zone, 0);
    EXPECT_EQ(text(row.zone), row.text) << row.channel << " zone " << row.zone;
  }
}
