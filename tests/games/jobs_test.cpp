// The top-list and daily jobs on the headless backend against the test web
// (lists, search and games on web.test, the clock on clock.test), in a
// temporary program folder.
// The jobs run on the test's thread with a recording Panel window, so sends
// are delivered at once and boxes are answered from a script.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "games/cache_harvest.h"
#include "games/daily.h"
#include "games/list_jobs.h"
#include "games/top_list.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "shell/startup.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> panelCommands; // "code arg [status]" as the Panel got them
std::vector<unsigned> sleeps;

LResult RecordingPanel(Hwnd, unsigned message, WParam w, LParam l) {
  if (message != MsgPanelCommand)
    return 0;
  panelCommands.push_back(std::to_string(w & 0xFFFF) + " " + std::to_string(l) + " [" +
                          Panel().CollectStatus.Get() + "|" + Panel().PhoneStatus.Get() + "]");
  if ((w & 0xFFFF) == 19030)
    Panel().PaneSlots[ChannelGame] = 7; // the game channel opened
  return 0;
}

void RecordSleep(unsigned ms) {
  sleeps.push_back(ms);
}

const std::string Swf = "FWS\x08 game bytes";

class Jobs : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("SearchHost=web.test\nClockHost=clock.test\n[Game]\n");
    SetWebSleepForTests(RecordSleep);
    HeadlessInstall();
    ResetPanelState(Panel());
    panel = WinCreateWindow("#32770", "Tessel Skerry", RecordingPanel);
    Panel().PanelWindow = panel;
    HeadlessSetPaneLive(7, true);
    panelCommands.clear();
    sleeps.clear();
    web.Put("web.test", "/files/one.swf", Swf + "one");
    web.Put("web.test", "/files/two.swf", Swf + "two");
    web.Answer("web.test", "/search?p=puzzle",
               {"body=<b>>Search Results<</b><li><a class=yschttl "
                "href=\"**http%3a//web.test/page.htm\">x</a>"});
    web.Put("web.test", "/page.htm",
            "<embed src=\"http://web.test/files/two.swf\" width=640 height=480>");
    SetClock("date=Sat, 15 Mar 2008 12:30:45 GMT");
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"web.test", "clock.test"});
    fs::create_directories(env.program / "Web");
  }
  // The clock host answers its odd request with an error and this date rule.
  void SetClock(const std::string& date) {
    std::ofstream(web.Site("clock.test") / ".answers", std::ios::trunc)
        << "*\tstatus=400\t" << date << "\n";
  }
  void TearDown() override {
    web.Stop();
    DropWebEnv(env);
    LanguageOffset = 0;
  }
  std::vector<std::string> Boxes() {
    std::vector<std::string> out;
    for (const HeadlessBox& b : HeadlessBoxes())
      out.push_back(b.title + ": " + b.text);
    return out;
  }
  fs::path Game() const { return env.program / "Game"; }
  fs::path Temp() const { return env.root / "system" / "Temp"; }

  WebEnv env;
  TestWeb web;
  Hwnd panel = 0;
};

TEST_F(Jobs, TopListCollectsLinkedAndSearchedGamesAndSkipsTheRest) {
  web.Put("web.test", "/top/List.htm",
          "[List]\n1=http://web.test/files/one.swf\n2=puzzle\n"
          "3=http://web.test/files/one.swf\n4=http://web.test/gone.swf\n"
          "5=http://web.test/files/one.swf\n7=http://web.test/files/one.swf\n"
          "[Title]\n1=one.swf\n2=two.swf\n3=three.swf\n4=four.swf\n5=../evil.swf\n");
  // A stale copy of the list in the cache must not survive the fetch.
  fs::create_directories(env.CacheFolder() + "/OLD00001");
  WriteWhole(env.CacheFolder() + "/OLD00001/List[1].htm", "[List]\n1=stale\n");
  HeadlessScriptAnswers({IDYES, IDYES, IDYES, IDNO, IDYES, IDYES});

  EXPECT_EQ(TopListJob(panel, "http://web.test/top/List.htm", Game().c_str(), 0, 0), 5);

  EXPECT_EQ(ReadWhole((Game() / "one.swf").string()), Swf + "one");
  EXPECT_EQ(ReadWhole((Game() / "two.swf").string()), Swf + "two");
  EXPECT_FALSE(fs::exists(Game() / "three.swf"));
  EXPECT_FALSE(fs::exists(Game() / "four.swf"));
  EXPECT_FALSE(fs::exists(env.program / "evil.swf"));
  EXPECT_FALSE(fs::exists(env.CacheFolder() + "/OLD00001/List[1].htm"));
  EXPECT_FALSE(fs::exists(env.CacheFolder() + "/temp00"));
  EXPECT_NE(ReadWhole((Temp() / "List.htm").string()).find("puzzle"), std::string::npos);
  EXPECT_TRUE(fs::exists(env.program / "Web" / "Menu1.htm"));
  EXPECT_EQ(sleeps, (std::vector<unsigned>{1000, 3000}));
  // A question for each entry with a link, the searched one with its find.
  std::vector<std::string> boxes = Boxes();
  ASSERT_EQ(boxes.size(), 7u);
  EXPECT_EQ(boxes[0], "Tessel @Vexan: Do you want to start searching the top games from internet?");
  EXPECT_EQ(boxes[2], "Tessel @Vexan: Do you want to save a game two.swf found at "
                      "\nhttp://web.test/files/two.swf ?");
  EXPECT_EQ(boxes[6], "Tessel @Vexan: Auto search & collect games are finished.");
  for (const HeadlessBox& b : HeadlessBoxes())
    EXPECT_EQ(b.owner, panel);
  // The home channel first; the game channel once, with the first game's
  // number, while its status line stood; then only reloads of its Pane.
  EXPECT_EQ(panelCommands,
            (std::vector<std::string>{"20120 2 [|]", "19030 1 [Download 1 / 5 file(s)...|]"}));
  EXPECT_EQ(HeadlessCallsOf("post", 7).size(), 3u); // one.swf, two.swf, the refused copy
  EXPECT_TRUE(Panel().CollectStatus.Empty());

  // In Chinese; a No at the start ends it with no end message; a missing
  // list still ends with one.
  WriteWhole((env.program / "top.ini").string(),
             "[List]\n1=http://web.test/files/one.swf\n[Title]\n1=one.swf\n");
  LanguageOffset = 1000;
  HeadlessInstall();
  HeadlessScriptAnswers({IDYES, IDNO});
  EXPECT_EQ(TopListJob(panel, "top.ini", Game().c_str(), 0, 0), 1);
  ASSERT_EQ(HeadlessBoxes().size(), 3u);
  EXPECT_EQ(HeadlessBoxes()[0].text, "開始上網搜尋排行榜上的遊戲 ?");
  EXPECT_EQ(HeadlessBoxes()[1].text, "是否儲存在 http://web.test/files/one.swf\n找到的 one.swf ?");
  HeadlessInstall();
  HeadlessScriptAnswers({IDNO});
  EXPECT_EQ(TopListJob(panel, "top.ini", Game().c_str(), 0, 0), 0);
  EXPECT_EQ(HeadlessBoxes().size(), 1u);
  HeadlessInstall();
  HeadlessScriptAnswers({IDYES});
  EXPECT_EQ(TopListJob(panel, "none.ini", Game().c_str(), 0, 0), 0);
  EXPECT_EQ(HeadlessBoxes().size(), 2u);
}

TEST_F(Jobs, DailyTakesTheServersDateAndWalksItsKeys) {
  web.Put("web.test", "/daily.htm",
          "[Daily]\n0315=http://web.test/files/one.swf\n0315a=no such game\n"
          "0315b=http://web.test/files/two.swf\n0315d=http://web.test/files/one.swf\n"
          "0316=http://web.test/files/one.swf\n"
          "[Title]\n0315=one.swf\n0315a=lost.swf\n0315b=two.swf\n0315d=d.swf\n"
          "0316=other.swf\n");
  Panel().DailyMode = 1;
  EXPECT_EQ(DailyJob(panel, "http://web.test/daily.htm", Game().c_str(), 0, 0), 3);
  fs::path month = Game() / "200803";
  EXPECT_EQ(ReadWhole((month / "one.swf").string()), Swf + "one");
  EXPECT_EQ(ReadWhole((month / "two.swf").string()), Swf + "two");
  EXPECT_FALSE(fs::exists(month / "lost.swf"));
  EXPECT_FALSE(fs::exists(month / "d.swf"));
  EXPECT_FALSE(fs::exists(month / "other.swf"));
  EXPECT_EQ(Boxes(), (std::vector<std::string>{
                         "Tessel Auto Search: Found & saved \"one.swf\" game completed !",
                         "Tessel Auto Search: Game search not completed !",
                         "Tessel Auto Search: Found & saved \"two.swf\" game completed !"}));
  EXPECT_EQ(panelCommands, std::vector<std::string>{"19030 1 [|Download one.swf game...]"});
  EXPECT_TRUE(Panel().PhoneStatus.Empty());

  // Keys with letters only, and past "z"; with DailyMode 2 no box comes.
  std::string keys = "[Daily]\n";
  for (char c = 'a'; c <= '|'; ++c)
    keys += std::string("0315") + c + "=http://web.test/gone.swf\n";
  web.Put("web.test", "/daily.htm", keys);
  HeadlessInstall();
  Panel().DailyMode = 2;
  EXPECT_EQ(DailyJob(panel, "http://web.test/daily.htm", Game().c_str(), 0, 0), 28);
  EXPECT_TRUE(HeadlessBoxes().empty());

  // A clock host that talks nonsense: the clock's day, in UTC.
  SetClock("date=garbage");
  std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char key[32], today[32];
  std::snprintf(key, sizeof key, "%02d%02d", utc.tm_mon + 1, utc.tm_mday);
  std::snprintf(today, sizeof today, "%04d%02d", utc.tm_year + 1900, utc.tm_mon + 1);
  WriteWhole((env.program / "day.ini").string(), std::string("[Daily]\n") + key +
                                                     "=http://web.test/files/one.swf\n[Title]\n" +
                                                     key + "=today.swf\n");
  Panel().DailyMode = 3;
  EXPECT_EQ(DailyJob(panel, "day.ini", Game().c_str(), 0, 0), 1);
  EXPECT_TRUE(fs::exists(Game() / today / "today.swf"));
}

TEST_F(Jobs, ASecondStartWhileOneRunsIsIgnored) {
  // The first job waits at its start prompt until the test pumps; the
  // second start finds it running and starts nothing.
  WriteWhole((env.program / "top.ini").string(), "[List]\n");
  HeadlessScriptAnswers({IDNO});
  StartTopListJob(panel, "top.ini", Game().c_str());
  StartTopListJob(panel, "top.ini", Game().c_str());
  HeadlessPumpFor(5000, 300);
  EXPECT_EQ(HeadlessBoxes().size(), 1u);

  Panel().DailyMode = 1;
  StartDailyJob(panel, "http://web.test/none.htm", Game().c_str());
  EXPECT_TRUE(DailyJobRunning());
  StartDailyJob(panel, "http://web.test/none.htm", Game().c_str());
  for (int i = 0; i < 500 && DailyJobRunning(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_FALSE(DailyJobRunning());
  EXPECT_EQ(web.Count("web.test", "/none.htm"), 1);
}

TEST_F(Jobs, HostileListsEndAndWriteNothingOutsideGame) {
  // 10,000 entries, each refused: the walk takes them all and stops.
  std::string many = "[List]\n";
  for (int i = 1; i <= 10000; ++i)
    many += std::to_string(i) + "=http://web.test/files/one.swf\n";
  WriteWhole((env.program / "many.ini").string(), many);
  std::vector<int> answers(10001, IDNO);
  answers[0] = IDYES;
  HeadlessScriptAnswers(answers);
  EXPECT_EQ(TopListJob(panel, "many.ini", Game().c_str(), 0, 0), 10000);
  EXPECT_EQ(HeadlessBoxes().size(), 10002u);

  // A value of a megabyte is cut (and its title too long to copy); a title
  // holding a byte 0 is refused, not cut short.
  std::string mega(1 << 20, 'a');
  WriteWhole((env.program / "hostile.ini").string(),
             "[List]\n1=http://web.test/" + mega +
                 "\n2=http://web.test/files/one.swf\n[Title]\n1=" + mega + "\n2=cut" +
                 std::string(1, '\0') + "/../../nul.swf\n");
  HeadlessInstall();
  HeadlessScriptAnswers(std::vector<int>(3, IDYES));
  EXPECT_EQ(TopListJob(panel, "hostile.ini", Game().c_str(), 0, 0), 2);
  EXPECT_EQ(web.Count("web.test", "/files/one.swf"), 1);
  EXPECT_FALSE(fs::exists(Game()));
  EXPECT_FALSE(fs::exists(env.root / "nul.swf"));
}

TEST(ListTitles, NeverLeadOutsideTheirFolder) {
  fs::path root = fs::temp_directory_path() / ("skerry-titles-" + std::to_string(getpid()));
  fs::create_directories(root / "Game");
  WriteWhole((root / "from").string(), "FWS");
  struct Row {
    const char* name;
    std::string title;
    bool copied;
  } rows[] = {
      {"plain", "a.swf", true},
      {"parent", "../a.swf", false},
      {"parent inside", "x/../../a.swf", false},
      {"backslash parent", "..\\a.swf", false},
      {"absolute", "/tmp/a.swf", false},
      {"empty", "", false},
      {"missing subfolder", "sub\\a.swf", false},
      {"300 characters", std::string(300, 'a'), false},
      {"a byte 0", std::string("a.swf\0/../../b.swf", 18), false},
      {"a subfolder that is a link", "out/a.swf", false},
      {"a real subfolder", "in/a.swf", true},
  };
  fs::create_directories(root / "Game/in");
  fs::create_directories(root / "elsewhere");
  fs::create_directory_symlink(root / "elsewhere", root / "Game/out");
  for (const Row& row : rows)
    EXPECT_EQ(CopyGameUnder((root / "from").string(), (root / "Game").string(), row.title),
              row.copied)
        << row.name;
  std::vector<std::string> names;
  for (const auto& e : fs::recursive_directory_iterator(root))
    names.push_back(e.path().lexically_relative(root).string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"Game", "Game/a.swf", "Game/in", "Game/in/a.swf",
                                             "Game/out", "elsewhere", "from"}));
  fs::remove_all(root);
}

} // namespace
