// The collection roads of the real program against the test web, on a
// virtual display (ctest runs it under xvfb-run): /Top with no Panel, the
// first start's top-list job ended under it, the daily job asked for at zone
// 21, and the cache harvest of zone 20. Boxes are answered by the keyboard.
#include <gtest/gtest.h>

#include "tests/collect/program_run.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;
using run::AnswerBox;

namespace {

const std::string Rocket = "FWS\x06 rocket game";
const std::string Maze = "CWS\x06 maze game";
const char Box[] = "Tessel @Vexan";

class Collect : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("DISPLAY"))
      GTEST_SKIP() << "needs a display; ctest runs this under xvfb-run";
    web.Put("games.test", "/arcade/Rocket.swf", Rocket);
    web.Put("games.test", "/arcade/Refused.swf", Rocket);
    web.Put("games.test", "/maze.htm",
            "<embed src=\"http://games.test/arcade/Maze.swf\" width=640 height=480>");
    web.Put("games.test", "/arcade/Maze.swf", Maze);
    web.Answer("search.test", "/search?p=Maze Runner",
               {"body=<b>>Search Results<</b><li><a class=yschttl "
                "href=\"**http%3a//games.test/maze.htm\">Maze</a>"});
    web.Answer("clock.test", "*", {"status=404", "date=Sat, 15 Mar 2008 10:00:00 GMT"});
    web.Put("lists.test", "/top.ini",
            "[List]\n1=http://games.test/arcade/Rocket.swf\n2=Maze Runner\n"
            "3=http://games.test/arcade/Refused.swf\n4=http://games.test/arcade/Gone.swf\n"
            "6=http://games.test/arcade/Rocket.swf\n"
            "[Title]\n1=Rocket.swf\n2=Maze.swf\n3=Refused.swf\n4=Gone.swf\n6=Six.swf\n");
    web.Put("lists.test", "/daily.ini",
            "[Daily]\n0315=http://games.test/arcade/Rocket.swf\n0315a=No Such Game\n"
            "0315b=http://games.test/arcade/Maze.swf\n0316=http://games.test/arcade/Rocket.swf\n"
            "[Title]\n0315=Rocket.swf\n0315a=Lost.swf\n0315b=Maze.swf\n0316=Other.swf\n");
    ASSERT_TRUE(web.Start());
    web.WriteHosts(p.root / "system", {"games.test", "search.test", "lists.test", "clock.test"});
    Define("");
  }

  void Define(const std::string& more) {
    std::ofstream(p.program / "Define.ini")
        << "[Web]\nSearchHost=search.test\nClockHost=clock.test\n"
           "[Game]\nList=http://lists.test/top.ini\nSearch=http://lists.test/daily.ini\n"
        << more;
  }

  // Tells the Panel to end, as its close command does, and expects exit code 0.
  void End(pid_t pid) {
    ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
    EXPECT_EQ(run::Program::WaitExit(pid), 0);
    CarrierDisconnect(&client);
  }

  // A start with a game present, so no top list is offered, and the game
  // channel open.
  pid_t StartWithAGame() {
    std::ofstream(p.program / "Game" / "old.swf") << "FWS";
    pid_t pid = p.Start();
    EXPECT_TRUE(p.Connect(&client));
    EXPECT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));
    return pid;
  }

  TestWeb web;
  run::Program p; // ended before the web
  CarrierConnection client;
};

TEST_F(Collect, TopModeCollectsWithNoPanelAndEndsWithItsCount) {
  pid_t pid = p.Start({"/Top"});
  // The walk of the top list: start Yes, Rocket Yes, the searched Maze Yes,
  // Refused No, Gone Yes (its download fails), then the end message; the
  // entry behind the gap at 5 is never reached.
  for (const char* key : {"y", "y", "y", "n", "y", "Return"})
    ASSERT_TRUE(AnswerBox(Box, key)) << "box for " << key;
  EXPECT_EQ(ReadWhole(p.program / "Game" / "Rocket.swf"), Rocket);
  EXPECT_EQ(ReadWhole(p.program / "Game" / "Maze.swf"), Maze);
  for (const char* name : {"Refused.swf", "Gone.swf", "Six.swf"})
    EXPECT_FALSE(fs::exists(p.program / "Game" / name)) << name;
  EXPECT_EQ(web.Count("games.test", "/arcade/Gone.swf"), 1);
  std::string menu = ReadWhole(p.program / "Web" / "Menu1.htm");
  EXPECT_NE(menu.find("Rocket.swf"), std::string::npos) << menu;
  EXPECT_NE(menu.find("Maze.swf"), std::string::npos) << menu;
  ASSERT_TRUE(AnswerBox(Box, "Return")); // "Got 4 games from top list."
  EXPECT_EQ(run::Program::WaitExit(pid), 4);
}

TEST_F(Collect, DailyJobTakesTheServersDateIntoItsMonthFolder) {
  Define("[@Vexan]\nCollect2=1\n");
  pid_t pid = StartWithAGame();
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20220, 0)); // zone 21: the search question
  ASSERT_TRUE(AnswerBox(Box, "y"));
  for (int i = 0; i < 3; ++i) // found, not found, found
    ASSERT_TRUE(AnswerBox("Tessel Auto Search", "Return")) << "result " << i;
  fs::path month = p.program / "Game" / "200803";
  EXPECT_EQ(ReadWhole(month / "Rocket.swf"), Rocket);
  EXPECT_EQ(ReadWhole(month / "Maze.swf"), Maze);
  EXPECT_FALSE(fs::exists(month / "Lost.swf"));
  EXPECT_FALSE(fs::exists(month / "Other.swf"));
  End(pid);
}

TEST_F(Collect, HarvestOffersAFreshLargeCacheFileAndSavesIt) {
  fs::path cached = p.root / "cache" / "skerry" / "Cache" / "AB12CD34";
  fs::create_directories(cached);
  std::string game = "FWS\x06" + std::string(600 * 1024, 'g');
  std::ofstream(cached / "Fresh%20Game[1].swf", std::ios::binary) << game;
  pid_t pid = StartWithAGame();
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20210, 0)); // zone 20: the harvest
  ASSERT_TRUE(AnswerBox("Collect The Game!!!", "y"));
  ASSERT_TRUE(AnswerBox("Save game to", "Return")); // the proposed name in Game
  EXPECT_TRUE(run::WaitFor(
      [&] { return ReadWhole(p.program / "Game" / "Fresh-Game[1].swf") == game; }, 10));
  EXPECT_TRUE(run::WaitForText(p.program / "Web" / "Menu1.htm", "Fresh-Game[1].swf", 10));
  End(pid);
}

// The first start with an empty Game folder runs the top-list job of /Top; told
// to end when the job has taken its first game and stands at the next question,
// the Panel ends cleanly.
TEST_F(Collect, FirstStartCollectsTheTopListAndEndsCleanlyUnderIt) {
  pid_t pid = p.Start();
  ASSERT_TRUE(AnswerBox(Box, "y"));
  ASSERT_TRUE(AnswerBox(Box, "y"));
  ASSERT_FALSE(run::WaitWindow(Box, 30).empty());
  EXPECT_EQ(ReadWhole(p.program / "Game" / "Rocket.swf"), Rocket);
  EXPECT_TRUE(run::WaitForText(p.program / "Web" / "Menu1.htm", "Rocket.swf", 10));
  ASSERT_TRUE(p.Connect(&client));
  End(pid);
}

} // namespace
