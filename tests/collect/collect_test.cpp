// The collection roads of the real program against the test web, on a
// virtual display (ctest runs it under xvfb-run): /Top with no Panel, the
// first start's top-list job, the daily job asked for at zone 21, and the
// cache harvest of zone 20. The program's boxes are answered as a user
// would, by the keyboard (xdotool), one box after the other.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/carrier_client.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

const std::string Rocket = "FWS\x06 rocket game";
const std::string Maze = "CWS\x06 maze game";

std::string Output(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr)
      out += buffer;
    pclose(pipe);
  }
  return out;
}

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class Collect : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::getenv("DISPLAY"))
      GTEST_SKIP() << "needs a display; ctest runs this under xvfb-run";
    char pattern[] = "/tmp/skerry-collect-XXXXXX";
    root = mkdtemp(pattern);
    program = root / "program";
    fs::create_directories(program / "Web");
    fs::create_directories(program / "Game");
    fs::create_directories(root / "run");
    fs::permissions(root / "run", fs::perms::owner_all);
    fs::copy_file(SKERRY_PROGRAM, program / "skerry");
    fs::path resources = fs::path(SKERRY_SOURCE_DIR) / "resources" / "program";
    fs::copy_file(resources / "@VEXANH.BMP", program / "@VEXANH.BMP");
    fs::copy(resources / "Res", program / "Res", fs::copy_options::recursive);

    web.Put("games.test", "/arcade/Rocket.swf", Rocket);
    web.Put("games.test", "/arcade/Refused.swf", Rocket);
    web.Put("games.test", "/maze.htm",
            "<embed src=\"http://games.test/arcade/Maze.swf\" width=640 height=480>");
    web.Put("games.test", "/arcade/Maze.swf", Maze);
    web.Put("search.test", "/maze.html",
            "<b>>Search Results<</b><li><a class=yschttl "
            "href=\"**http%3a//games.test/maze.htm\">Maze</a>");
    web.Answer("search.test", "/search?p=Maze Runner", {"file=maze.html"});
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
    web.WriteHosts(root / "system", {"games.test", "search.test", "lists.test", "clock.test"});
    Define("");
  }

  void TearDown() override {
    for (pid_t pid : started)
      if (kill(pid, 0) == 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
      }
    if (!root.empty() && !std::getenv("SKERRY_KEEP_TEST_FILES"))
      fs::remove_all(root);
  }

  void Define(const std::string& more) {
    std::ofstream(program / "Define.ini")
        << "[Web]\nSearchHost=search.test\nClockHost=clock.test\n"
           "[Game]\nList=http://lists.test/top.ini\nSearch=http://lists.test/daily.ini\n"
        << more;
  }

  // The program, started again when it dies at once because the loaded
  // virtual display refused its connection.
  pid_t Start(bool top) {
    for (int attempt = 0;; ++attempt) {
      pid_t pid = StartOnce(top);
      int status = 0;
      auto settled = Clock::now() + std::chrono::milliseconds(1500);
      while (Clock::now() < settled && waitpid(pid, &status, WNOHANG) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      if (kill(pid, 0) == 0 || attempt == 2)
        return pid;
    }
  }

  pid_t StartOnce(bool top) {
    pid_t pid = fork();
    if (pid == 0) {
      setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
      setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
      setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
      setenv("LC_ALL", "C", 1);
      std::string exe = (program / "skerry").string();
      if (top)
        execl(exe.c_str(), exe.c_str(), "/Top", static_cast<char*>(nullptr));
      else
        execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    started.push_back(pid);
    return pid;
  }

  // Answers the next box titled title with key, as a user at the keyboard.
  // False when no such box came within the time.
  static bool AnswerBox(const std::string& title, const std::string& key, int timeoutMs = 60000) {
    auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    std::string search = "xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null";
    while (Clock::now() < end) {
      std::istringstream ids(Output(search));
      std::string id;
      if (ids >> id) {
        Output("xdotool windowfocus --sync " + id + " key " + key + " 2>/dev/null");
        for (int i = 0; i < 100 && Output(search).find(id) != std::string::npos; ++i)
          std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return true;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
  }

  static int WaitExit(pid_t pid, int timeoutMs) {
    auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (Clock::now() < end) {
      int status = 0;
      if (waitpid(pid, &status, WNOHANG) == pid)
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return -1;
  }

  bool Connect(CarrierConnection* c) {
    std::string socket = (root / "run" / "skerry" / "panel.sock").string();
    std::string error;
    for (int i = 0; i < 300; ++i) {
      if (CarrierConnect(c, socket, &error)) {
        long long native = 0;
        if (CarrierClientHello(c, getpid(), 3000, &native))
          return true;
        CarrierDisconnect(c);
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
  }

  // The walk of the top list: start Yes, Rocket Yes, the searched Maze Yes,
  // Refused No, Gone Yes (its download fails), then the end message.
  void AnswerTopList() {
    for (const char* key : {"y", "y", "y", "n", "y", "Return"})
      ASSERT_TRUE(AnswerBox("Tessel @Vexan", key)) << "box for " << key;
  }

  void ExpectTopListGames() {
    EXPECT_EQ(ReadAll(program / "Game" / "Rocket.swf"), Rocket);
    EXPECT_EQ(ReadAll(program / "Game" / "Maze.swf"), Maze);
    EXPECT_FALSE(fs::exists(program / "Game" / "Refused.swf"));
    EXPECT_FALSE(fs::exists(program / "Game" / "Gone.swf"));
    EXPECT_FALSE(fs::exists(program / "Game" / "Six.swf")); // behind the gap at 5
    EXPECT_EQ(web.Count("games.test", "/arcade/Refused.swf"), 0);
    EXPECT_EQ(web.Count("games.test", "/arcade/Gone.swf"), 1);
    EXPECT_EQ(web.Count("lists.test", "/top.ini"), 1);
    std::string menu = ReadAll(program / "Web" / "Menu1.htm");
    EXPECT_NE(menu.find("Rocket.swf"), std::string::npos) << menu;
    EXPECT_NE(menu.find("Maze.swf"), std::string::npos) << menu;
  }

  TestWeb web;
  fs::path root, program;
  std::vector<pid_t> started;
};

TEST_F(Collect, TopModeCollectsWithNoPanelAndEndsWithItsCount) {
  pid_t pid = Start(true);
  AnswerTopList();
  ASSERT_TRUE(AnswerBox("Tessel @Vexan", "Return")); // "Got 4 games from top list."
  EXPECT_EQ(WaitExit(pid, 30000), 4);
  ExpectTopListGames();
  EXPECT_FALSE(fs::exists(root / "run" / "skerry" / "panel.sock"));
}

TEST_F(Collect, FirstStartWithAnEmptyGameFolderCollectsTheTopList) {
  pid_t pid = Start(false);
  AnswerTopList();
  ExpectTopListGames();
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(WaitExit(pid, 30000), 0);
  CarrierDisconnect(&client);
}

TEST_F(Collect, DailyJobTakesTheServersDateIntoItsMonthFolder) {
  std::ofstream(program / "Game" / "old.swf") << "FWS"; // no top list at this start
  Define("[@Vexan]\nCollect2=1\n");
  pid_t pid = Start(false);
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0)); // the game channel
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20220, 0)); // zone 21: the search question
  ASSERT_TRUE(AnswerBox("Tessel @Vexan", "y"));
  for (int i = 0; i < 3; ++i) // found, not found, found
    ASSERT_TRUE(AnswerBox("Tessel Auto Search", "Return")) << "result " << i;
  fs::path month = program / "Game" / "200803";
  EXPECT_EQ(ReadAll(month / "Rocket.swf"), Rocket);
  EXPECT_EQ(ReadAll(month / "Maze.swf"), Maze);
  EXPECT_FALSE(fs::exists(month / "Lost.swf"));
  EXPECT_FALSE(fs::exists(month / "Other.swf"));
  EXPECT_EQ(web.Count("clock.test", "."), 1);
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(WaitExit(pid, 30000), 0);
  CarrierDisconnect(&client);
}

TEST_F(Collect, HarvestOffersAFreshLargeCacheFileAndSavesIt) {
  std::ofstream(program / "Game" / "old.swf") << "FWS"; // no top list at this start
  fs::path cached = root / "cache" / "skerry" / "Cache" / "AB12CD34";
  fs::create_directories(cached);
  std::string game = "FWS\x06" + std::string(600 * 1024, 'g');
  std::ofstream(cached / "Fresh%20Game[1].swf", std::ios::binary) << game;
  pid_t pid = Start(false);
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0)); // the game channel
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20210, 0)); // zone 20: the harvest
  ASSERT_TRUE(AnswerBox("Collect The Game!!!", "y"));
  ASSERT_TRUE(AnswerBox("Save game to", "Return")); // the proposed name in Game
  fs::path saved = program / "Game" / "Fresh-Game[1].swf";
  for (int i = 0; i < 100 && !fs::exists(saved); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_EQ(ReadAll(saved), game);
  for (int i = 0;
       i < 100 && ReadAll(program / "Web" / "Menu1.htm").find("Fresh-Game") == std::string::npos;
       ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_NE(ReadAll(program / "Web" / "Menu1.htm").find("Fresh-Game[1].swf"), std::string::npos);

  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(WaitExit(pid, 30000), 0);
  CarrierDisconnect(&client);
}

TEST_F(Collect, ThePanelEndsCleanlyUnderARunningJob) {
  // The top-list job has taken its first game and stands at the next
  // question when the Panel is told to end: the process ends at once, with 0.
  pid_t pid = Start(false);
  ASSERT_TRUE(AnswerBox("Tessel @Vexan", "y"));
  ASSERT_TRUE(AnswerBox("Tessel @Vexan", "y"));
  std::string search = "xdotool search --onlyvisible --name '^Tessel @Vexan$' 2>/dev/null";
  for (int i = 0; i < 300 && Output(search).empty(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(WaitExit(pid, 30000), 0);
  CarrierDisconnect(&client);
}

} // namespace
