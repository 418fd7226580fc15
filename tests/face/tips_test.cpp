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

std::string Tip(int index) {
  char out[1024] = "unchanged";
  if (ReadTipText(902, index, out) != 0)
    return "<none>";
  return out;
}

std::string ToolText(int zone) {
  ToolRecord tool;
  if (!TooltipGetTool(Panel().TooltipWindow, zone, &tool))
    return "<no tool>";
  return tool.Text;
}

} // namespace

// Every tip index from -1 to 269 that has a text, as "index=text|".
static std::string AllTips() {
  std::string all;
  for (int index = -1; index < 270; ++index)
    if (std::string text = Tip(index); text != "<none>")
      all += std::to_string(index) + "=" + text + "|";
  return all;
}

TEST_F(Tips, EveryTextOfBothLists) {
  EXPECT_EQ(AllTips(),
            "0=Close|1=Close/Delete|10=Maximize|20=Minimize|30=Forward|40=Backward|50=Refresh|"
            "60=~7Start|70=Refresh|71=Pause|72=Messenger|73=Video Play|80=Backward|81=Game|82=Game|"
            "90=Start / Max|91=Image Play|92=Image Play|100=Forward|101=Channel|102=Channel|"
            "110=Home Page|120=Exit|130=~14|140=~15|150=~16|160=~17|170=Rotate|180=Change Skin|"
            "190=Topmost|200=Collect Games from Cache|201=Collect the Video|202=Collect Top Games|"
            "210=Collect the Video to Phone|211=Daily Collection(Prompt)Setting:Right-Click|"
            "212=Daily Collection(Auto)|213=Daily Collection(Disable)|220=Mute|230=Date|240=~25|"
            "250=0|");
  LanguageOffset = 1000;
  EXPECT_EQ(AllTips(), "0=關閉本頁|1=關閉本頁/刪除檔案|10=最大化|20=最小化|30=下一頁|40=上一頁|"
                       "50=重新整理|60=~7Start|70=重新整理|71=暫停|72=電訊大廳|73=播放存檔影片|"
                       "80=上一步|81=數位遊戲|82=數位遊戲|90=開始播放|91=數位相框開始/放大|"
                       "92=數位相框開始/放大|100=下一步|101=網路頻道|102=網路頻道|110=首頁|"
                       "120=離開|130=~14|140=~15|150=~16|160=~17|170=旋轉面板|180=更換面板|"
                       "190=最上層|200=收藏正在Cache的遊戲|201=收藏影片|202= 收藏排行榜上的遊戲|"
                       "210=收藏影片到手機|211=每日搜集(手動)Setting:Right-Click|"
                       "212=每日搜集(自動)|213=每日搜集(關閉)|220=靜音|230=日曆|240=~25|250=0|");
}

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
  EXPECT_EQ(ToolText(24), "<no tool>");
  EXPECT_EQ(ToolText(20), "");
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
      {"20 home: no tip", ChannelHome, 0, 20, "", "", ""},
      {"20 game with a job: no tip", ChannelGame, 0, 20, "3 of 9", "", ""},
      {"20 video site with a job", ChannelVideoSite, 0, 20, "3 of 9", "", "3 of 9"},
      {"21 elsewhere", ChannelImage, 0, 21, "", "", "Collect the Video to Phone"},
      {"21 game, daily 1", ChannelGame, 1, 21, "", "",
       "Daily Collection(Prompt)Setting:Right-Click"},
      {"21 home, daily 3", ChannelHome, 3, 21, "", "", "Daily Collection(Disable)"},
      {"21 with a job", ChannelHome, 2, 21, "", "copying", "copying"},
      {"7 image", ChannelImage, 0, 7, "", "", "Pause"},
      {"7 elsewhere", ChannelGame, 0, 7, "", "", "Refresh"},
      {"0 game", ChannelGame, 0, 0, "", "", "Close/Delete"},
      {"0 elsewhere", ChannelHome, 0, 0, "", "", "Close"},
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
  UpdateTip(window, tip, -3, 0);
  EXPECT_EQ(ToolText(6), "<no tool>");
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
