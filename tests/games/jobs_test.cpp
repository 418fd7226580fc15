// The top-list and daily jobs on the headless backend against the test web,
// for what the collect runs of the real program can't show.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "games/daily.h"
#include "games/list_jobs.h"
#include "games/top_list.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"

namespace fs = std::filesystem;

namespace {

class Jobs : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("SearchHost=web.test\nClockHost=clock.test\n[Game]\n");
    HeadlessInstall();
    ResetPanelState(Panel());
    panel = WinCreateWindow("#32770", "Tessel Skerry",
                            [](Hwnd, unsigned, WParam, LParam) -> LResult { return 0; });
    Panel().PanelWindow = panel;
    web.Put("web.test", "/files/one.swf", "FWS\x08 one");
    web.Answer("clock.test", "*", {"status=400", "date=Sat, 15 Mar 2008 12:30:45 GMT"});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"web.test", "clock.test"});
    fs::create_directories(env.program / "Web");
  }
  void TearDown() override {
    web.Stop();
    DropWebEnv(env);
  }
  int Top(const std::string& list, std::vector<int> answers) {
    WriteWhole((env.program / "top.ini").string(), list);
    HeadlessInstall();
    HeadlessScriptAnswers(answers);
    return TopListJob(panel, "top.ini", Game().c_str(), 0, 0);
  }
  fs::path Game() const { return env.program / "Game"; }
  WebEnv env;
  TestWeb web;
  Hwnd panel = 0;
};

TEST_F(Jobs, TopListPromptsAndHostileLists) {
  const std::string one = "[List]\n1=http://web.test/files/one.swf\n[Title]\n1=one.swf\n";
  EXPECT_EQ(Top(one, {IDYES, IDNO}), 1);
  EXPECT_EQ(HeadlessBoxes().size(), 3u);

  // Hostile lists end and write nothing outside Game.
  std::string many = "[List]\n";
  for (int i = 1; i <= 10000; ++i)
    many += std::to_string(i) + "=http://web.test/files/one.swf\n";
  std::vector<int> answers(10001, IDNO);
  answers[0] = IDYES;
  EXPECT_EQ(Top(many, answers), 10000);
  EXPECT_EQ(HeadlessBoxes().size(), 10002u);

  // A megabyte value is cut (its title too long to copy); a title holding a
  // byte 0 is refused, not cut short.
  std::string mega(1 << 20, 'a');
  EXPECT_EQ(Top("[List]\n1=http://web.test/" + mega +
                    "\n2=http://web.test/files/one.swf\n[Title]\n1=" + mega + "\n2=cut" +
                    std::string(1, '\0') + "/../../nul.swf\n",
                std::vector<int>(3, IDYES)),
            2);
  EXPECT_EQ(web.Count("web.test", "/files/one.swf"), 1);
  EXPECT_FALSE(fs::exists(Game()));
  EXPECT_FALSE(fs::exists(env.root / "nul.swf"));
}

TEST_F(Jobs, ASecondStartWhileOneRunsIsIgnored) {
  // The first top list waits at its start prompt while the second start comes.
  WriteWhole((env.program / "top.ini").string(), "[List]\n");
  HeadlessScriptAnswers({IDNO});
  StartTopListJob(panel, "top.ini", Game().c_str());
  StartTopListJob(panel, "top.ini", Game().c_str());
  HeadlessPumpFor(5000, 300);
  EXPECT_EQ(HeadlessBoxes().size(), 1u);
  Panel().DailyMode = 2;
  StartDailyJob(panel, "http://web.test/none.htm", Game().c_str());
  StartDailyJob(panel, "http://web.test/none.htm", Game().c_str());
  for (int i = 0; i < 500 && DailyJobRunning(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(web.Count("web.test", "/none.htm"), 1);
}

// Fetched lists are data: no macro reaches a server, "@@" is no line break, a
// control character no part of a game's name, and a page no Flash game.
TEST_F(Jobs, FetchedListsAreReadAsTheyStand) {
  setenv("SKERRY_TEST_SECRET", "hunter2-token", 1);
  web.Put("web.test", "/top.htm",
          "[List]\n1=http://web.test/%SKERRY_TEST_SECRET%.swf\n2=http://web.test/files/one.swf\n"
          "3=http://web.test/page.htm\n[Title]\n1=secret.swf\n2=a@@b\x1b[1m\t.swf\n"
          "3=page_not_flash.swf\n");
  web.Put("web.test", "/page.htm", "<html><body>no game</body></html>");
  web.Put("web.test", "/day.htm", "[Daily]\n0315a=http://web.test/d/%SKERRY_TEST_SECRET%.swf\n");
  HeadlessScriptAnswers(std::vector<int>(5, IDYES));
  EXPECT_EQ(TopListJob(panel, "http://web.test/top.htm", Game().c_str(), 0, 0), 3);
  Panel().DailyMode = 2;
  EXPECT_EQ(DailyJob(panel, "http://web.test/day.htm", Game().c_str(), 0, 0), 1);
  unsetenv("SKERRY_TEST_SECRET");
  EXPECT_EQ(web.Count("web.test", "/%SKERRY_TEST_SECRET%.swf"), 1);
  EXPECT_EQ(web.Count("web.test", "/d/%SKERRY_TEST_SECRET%.swf"), 1);
  for (const TestWebRequest& request : web.Requests())
    EXPECT_EQ(request.target.find("hunter2"), std::string::npos) << request.target;
  EXPECT_THAT(std::vector<fs::directory_entry>(fs::directory_iterator(Game()), {}),
              testing::ElementsAre(Game() / "a@@b_[1m_.swf"));
}

TEST_F(Jobs, ListTitlesNeverLeadOutsideTheirFolder) {
  fs::path root = env.root / "titles";
  fs::create_directories(root / "Game/in");
  fs::create_directories(root / "elsewhere");
  fs::create_directory_symlink(root / "elsewhere", root / "Game/out");
  WriteWhole((root / "from").string(), "FWS");
  const std::pair<std::string, bool> rows[] = {
      {"a.swf", true},
      {"../a.swf", false},
      {"x/../../a.swf", false},
      {"..\\a.swf", false},
      {"/tmp/a.swf", false},
      {"", false},
      {"sub\\a.swf", false},
      {std::string(300, 'a'), false},
      {"out/a.swf", false},
      {"in/a.swf", true},
      {std::string("a.swf\0/../../b.swf", 18), false},
  };
  for (const auto& [title, copied] : rows)
    EXPECT_EQ(CopyGameUnder((root / "from").string(), (root / "Game").string(), title), copied)
        << title;
  std::vector<std::string> names;
  for (const auto& e : fs::recursive_directory_iterator(root))
    names.push_back(e.path().lexically_relative(root).string());
  EXPECT_THAT(names, testing::UnorderedElementsAre("Game", "Game/a.swf", "Game/in", "Game/in/a.swf",
                                                   "Game/out", "elsewhere", "from"));
}

} // namespace
