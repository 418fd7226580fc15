// The string lists, the tip readers and the Panel's tool table.
#include <cstring>
#include <thread>
#include <vector>

#include "face_fixture.h"
#include "panel/tips.h"
#include "platform/tooltips.h"
#include "resources/strings.h"
#include "shell/module_path.h"

using Tips = FaceTest;

namespace {

std::string ToolText(int zone) {
  ToolRecord tool;
  if (!TooltipGetTool(Panel().TooltipWindow, zone, &tool))
    return "<no tool>";
  return tool.Text;
}

} // namespace

TEST_F(Tips, ReadListFieldResultAndUntouchedOutput) {
  char out[1024] = "unchanged";
  EXPECT_EQ(ReadListField(902, 26, out), -1);
  EXPECT_STREQ(out, "unchanged");
  char whole[1024];
  int length = LoadResourceString(902, whole, sizeof whole);
  EXPECT_EQ(ReadListField(902, 25, out), length);
  EXPECT_STREQ(out, "0");
  EXPECT_EQ(ReadListField(902, 9, out), length);
  EXPECT_STREQ(out, "Start / Max` Image Play` Image Play");
  EXPECT_EQ(ReadListField(777, 0, out), 0) << "an unknown list is one empty field";
}

TEST_F(Tips, CreateMoveAndUpdate) {
  Panel().TooltipWindow = CreateTips(window);
  Hwnd tip = Panel().TooltipWindow;
  ASSERT_NE(tip, 0u);
  EXPECT_EQ(TooltipToolCount(tip), 19);
  EXPECT_EQ(ToolText(6), "<no tool>");
  EXPECT_EQ(ToolText(17), "Rotate");
  EXPECT_EQ(TooltipTextAt(window, 170, 66), "Rotate");
  EXPECT_EQ(TooltipTextAt(window, 170, 300), "");
  EXPECT_EQ(CreateTips(0), 0u);

  MoveTipRects(window, tip, ZoneCount, 90);
  EXPECT_EQ(TooltipTextAt(window, 526, 170), "Rotate");
  MoveTipRects(window, tip, ZoneCount, 0);

  struct Row {
    const char* name;
    int channel, dailyMode, zone;
    const char* collect;
    const char* phone;
    const char* text;
  };
  const Row rows[] = {
      {"20 elsewhere", ChannelClock, 0, 20, "", "", "Collect Games from Cache"},
      {"20 video site", ChannelVideoSite, 0, 20, "", "", "Collect the Video"},
      {"20 game with a job: no tip", ChannelGame, 0, 20, "3 of 9", "", ""},
      {"20 video site with a job", ChannelVideoSite, 0, 20, "3 of 9", "", "3 of 9"},
      {"21 game, daily 1", ChannelGame, 1, 21, "", "",
       "Daily Collection(Prompt)Setting:Right-Click"},
      {"21 with a job", ChannelHome, 2, 21, "", "copying", "copying"},
      {"7 image", ChannelImage, 0, 7, "", "", "Pause"},
      {"0 game", ChannelGame, 0, 0, "", "", "Close/Delete"},
  };
  for (const Row& row : rows) {
    Panel().Channel = row.channel;
    Panel().DailyMode = row.dailyMode;
    Panel().CollectStatus.Set(row.collect);
    Panel().PhoneStatus.Set(row.phone);
    UpdateTip(window, tip, row.zone, 0);
    EXPECT_EQ(ToolText(row.zone), row.text) << row.name;
  }
  UpdateTip(window, tip, 6, 0); // a placeholder zone gets no tool
  UpdateTip(window, tip, 99, 0);
  EXPECT_EQ(ToolText(6), "<no tool>");
  LanguageOffset = 1000; // the Traditional Chinese list
  ToolRecord zh;
  ASSERT_TRUE(TooltipGetTool(CreateTips(window), 17, &zh));
  EXPECT_EQ(zh.Text, "旋轉面板");
}

TEST_F(Tips, LongStatusLinesAreCutAndAnyThreadMayUpdate) {
  Panel().TooltipWindow = CreateTips(window);
  Panel().Channel = ChannelClock;
  std::string longLine;
  for (int i = 0; i < 200; ++i)
    longLine += "é"; // two bytes each
  Panel().PhoneStatus.Set(longLine);
  UpdateTip(window, Panel().TooltipWindow, 21, 0);
  std::string shown = ToolText(21);
  EXPECT_LE(shown.size(), 255u);
  EXPECT_GE(shown.size(), 254u);
  EXPECT_EQ(shown.size() % 2, 0u) << "never cut inside a character";

  std::vector<std::thread> jobs;
  for (int t = 0; t < 4; ++t)
    jobs.emplace_back([t] {
      for (int i = 0; i < 500; ++i) {
        Panel().CollectStatus.Set("job " + std::to_string(t) + " step " + std::to_string(i));
        UpdateTip(Panel().PanelWindow, Panel().TooltipWindow, 20, 0);
        TooltipTextAt(Panel().PanelWindow, 100, 66);
      }
    });
  for (auto& job : jobs)
    job.join();
  EXPECT_EQ(ToolText(20).rfind("job ", 0), 0u);
}
