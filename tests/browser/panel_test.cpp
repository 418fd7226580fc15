// The real Panel with the real browser program on a virtual display: the
// program folder of the build copied to a temporary folder, with a Game
// folder of two small Flash files. The test talks to the Panel as a plain
// carrier client (as another process could) and judges what a user sees by
// the colours of screenshots inside the Pane rectangle of the Panel's window.
// Screenshots of the Panel are kept in screenshots/ (panel-*.png).
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "platform/carrier_client.h"
#include "platform/ini.h"
#include "swf_file.h"
#include "tests/testweb/test_web.h"
#include "x11_shots.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr unsigned StartColour = 0x0F3B66;    // iStart.htm
constexpr unsigned GameAreaColour = 0x1A1206; // iGameHome.htm in the frame "main"
constexpr unsigned GameColour = 0x22CC55;

std::string Output(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe)
    return "";
  std::string text;
  char chunk[256];
  while (fgets(chunk, sizeof chunk, pipe))
    text += chunk;
  pclose(pipe);
  return text;
}

struct PanelPlace {
  int x = -1;
  int y = -1;
  int width = 0;
  int height = 0;
};

// Where the window titled "Tessel Skerry" stands on the screen.
PanelPlace FindPanel(std::chrono::seconds wait) {
  PanelPlace place;
  auto deadline = Clock::now() + wait;
  while (Clock::now() < deadline) {
    std::istringstream ids(Output("xdotool search --name '^Tessel Skerry$' 2>/dev/null"));
    std::string id;
    while (ids >> id) {
      std::istringstream geometry(Output("xdotool getwindowgeometry --shell " + id));
      std::string line;
      PanelPlace p;
      while (std::getline(geometry, line)) {
        if (line.rfind("X=", 0) == 0)
          p.x = std::atoi(line.c_str() + 2);
        if (line.rfind("Y=", 0) == 0)
          p.y = std::atoi(line.c_str() + 2);
        if (line.rfind("WIDTH=", 0) == 0)
          p.width = std::atoi(line.c_str() + 6);
        if (line.rfind("HEIGHT=", 0) == 0)
          p.height = std::atoi(line.c_str() + 7);
      }
      if (p.width > 330 && p.height > 470)
        return p;
    }
    std::this_thread::sleep_for(300ms);
  }
  return place;
}

void KeepPanelShot(const fs::path& shot, const PanelPlace& panel, const std::string& name) {
  std::string command = "convert '" + shot.string() + "' -crop " + std::to_string(panel.width) +
                        "x" + std::to_string(panel.height) + "+" + std::to_string(panel.x) + "+" +
                        std::to_string(panel.y) + " +repage '" + ShotPath(name).string() + "'";
  EXPECT_EQ(std::system(command.c_str()), 0);
}

// Running children of parent (ended ones not yet reaped left out), oldest first.
std::vector<pid_t> ChildrenOf(pid_t parent) {
  std::vector<pid_t> children;
  std::istringstream list(Output("ps --ppid " + std::to_string(parent) + " -o pid=,stat="));
  pid_t pid;
  std::string state;
  while (list >> pid >> state) {
    if (state[0] != 'Z')
      children.push_back(pid);
  }
  return children;
}

// True while pid runs (exists and hasn't ended as a zombie).
bool Running(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  std::size_t close = text.rfind(')');
  return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z';
}

class PanelWithPanes : public testing::Test {
 protected:
  fs::path root;
  fs::path program;
  pid_t panelPid = -1;
  std::vector<pid_t> panes;

  void SetUp() override {
    if (!std::getenv("DISPLAY"))
      GTEST_SKIP() << "needs a display; ctest runs this under xvfb-run";
    char name[] = "/tmp/skerry-panel-XXXXXX";
    root = mkdtemp(name);
    program = root / "program";
    fs::copy(SKERRY_PROGRAM_DIR, program, fs::copy_options::recursive);
    fs::remove_all(program / "Game");
    fs::remove_all(program / "Video");
    fs::remove(program / "iGame.ini");
    fs::remove(program / "Web" / "Menu1.htm");
    fs::create_directories(program / "Game");
    fs::create_directories(program / "Video");
    std::ofstream(program / "Game" / "green game.swf", std::ios::binary)
        << TinySwf(310, 370, GameColour);
    std::ofstream(program / "Game" / "second.swf", std::ios::binary) << TinySwf(310, 370, 0x884400);
    fs::create_directories(root / "run");
    fs::permissions(root / "run", fs::perms::owner_all);
    fs::create_directories(root / "system");
  }

  void TearDown() override {
    for (pid_t pid : panes) {
      if (kill(pid, 0) == 0)
        kill(pid, SIGKILL);
    }
    if (panelPid > 0)
      Stop(panelPid);
    if (!root.empty()) {
      std::error_code ignored;
      fs::remove_all(root, ignored);
    }
  }

  void StartPanel() {
    panelPid = fork();
    if (panelPid == 0) {
      setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
      setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
      setenv("LC_ALL", "C", 1);
      std::string exe = (program / "skerry").string();
      std::string log = (root / "panel.log").string();
      if (!freopen(log.c_str(), "w", stderr))
        _exit(126);
      execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
  }

  bool Connect(CarrierConnection* c) {
    std::string path = (root / "run" / "skerry" / "panel.sock").string();
    auto deadline = Clock::now() + 20s;
    std::string error;
    while (Clock::now() < deadline) {
      if (CarrierConnect(c, path, &error)) {
        long long native = 0;
        if (CarrierClientHello(c, getpid(), 3000, &native))
          return true;
        CarrierDisconnect(c);
      }
      std::this_thread::sleep_for(100ms);
    }
    return false;
  }
};

} // namespace

TEST_F(PanelWithPanes, StartPageGameMenuHistoryAndPanesOutliveThePanel) {
  StartPanel();
  PanelPlace panel = FindPanel(30s);
  ASSERT_GT(panel.width, 0) << "no window titled Tessel Skerry";
  const int paneX = panel.x + 20;
  const int paneY = panel.y + 74;
  fs::path shot = root / "shot.png";

  // The start page comes up inside the Panel's screen.
  unsigned seen = AwaitColour(shot, StartColour, paneX + 120, paneY + 300, 60, 20, 60s);
  ASSERT_TRUE(Near(seen, StartColour)) << "start page not on the Panel's screen: " << Hex(seen);
  KeepPanelShot(shot, panel, "panel-start.png");

  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));

  // Zone 9: the game menu built from the Game folder.
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));
  seen = AwaitColour(shot, GameAreaColour, paneX + 100, paneY + 330, 100, 30, 60s);
  ASSERT_TRUE(Near(seen, GameAreaColour)) << "game menu not shown: " << Hex(seen);
  std::this_thread::sleep_for(1s);
  Screenshot(shot);
  KeepPanelShot(shot, panel, "panel-menu.png");
  // The first icon of the strip is a game, drawn in yellow.
  unsigned icon = MeanColour(shot, paneX + 6, paneY + 8, 9, 9);
  EXPECT_GT((icon >> 16) & 0xFF, 0xA0u) << Hex(icon);
  EXPECT_GT((icon >> 8) & 0xFF, 0x80u) << Hex(icon);

  // Its icon plays the game in the area below the strip.
  std::string click = "xdotool mousemove " + std::to_string(paneX + 11) + " " +
                      std::to_string(paneY + 12) + " click 1";
  ASSERT_EQ(std::system(click.c_str()), 0);
  unsigned game = AwaitColour(shot, GameColour, paneX + 130, paneY + 200, 50, 50, 90s);
  unsigned other = MeanColour(shot, paneX + 130, paneY + 200, 50, 50);
  EXPECT_TRUE(Near(game, GameColour) || Near(other, 0x884400)) << "no game plays: " << Hex(game);
  KeepPanelShot(shot, panel, "panel-game.png");

  // Backward and Forward of the Panel (zones 4 and 3) step through the Pane's history.
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20050, 0));
  seen = AwaitColour(shot, GameAreaColour, paneX + 100, paneY + 330, 100, 30, 30s);
  EXPECT_TRUE(Near(seen, GameAreaColour)) << "back didn't return to the menu: " << Hex(seen);
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20040, 0));
  seen = AwaitColour(shot, game, paneX + 130, paneY + 200, 50, 50, 60s);
  EXPECT_TRUE(Near(seen, game)) << "forward didn't bring the game back: " << Hex(seen);

  // A game menu Pane that crashed is launched again by the next press of zone 9.
  std::vector<pid_t> before = ChildrenOf(panelPid);
  ASSERT_FALSE(before.empty());
  pid_t gamePane = before.back();
  kill(gamePane, SIGKILL);
  std::this_thread::sleep_for(2s);
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));
  seen = AwaitColour(shot, GameAreaColour, paneX + 100, paneY + 330, 100, 30, 60s);
  EXPECT_TRUE(Near(seen, GameAreaColour)) << "game menu not launched again: " << Hex(seen);

  // Closing the Panel leaves the Panes running.
  panes = ChildrenOf(panelPid);
  EXPECT_GE(panes.size(), 2u) << "start page and game menu are two Panes";
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  int status = 0;
  EXPECT_TRUE(Ended(panelPid, 20s, &status));
  panelPid = -1;
  std::this_thread::sleep_for(3s);
  for (pid_t pid : panes)
    EXPECT_TRUE(Running(pid)) << "Pane " << pid << " ended with the Panel";
  CarrierDisconnect(&client);
}

namespace {

// hosts.ini sends named hosts to the test web: the Panel's own fetches (the
// daily collection's clock, list and game) and the browser program's engine
// (the Home page, over https with the test web's certificate) go there.
TEST_F(PanelWithPanes, NamedHostsOfTheHostsTableReachTheTestWeb) {
  TestWeb web;
  web.Answer("clock.test", "*", {"date=Sat, 15 Nov 2008 10:00:00 GMT"});
  web.Put("lists.test", "/Daily.ini",
          "[Daily]\n1115=https://games.test/daily.swf\n"
          "[Title]\n1115=Daily Game.swf\n");
  web.Put("games.test", "/daily.swf", TinySwf(310, 370, 0x3366CC));
  web.Put("home.test", "/start.htm", "<html><body bgcolor=#22AA44>home</body></html>");
  ASSERT_TRUE(web.Start());
  web.WriteHosts(root / "system", {"clock.test", "lists.test", "games.test", "home.test"});
  std::string define = (program / "Define.ini").string();
  IniWrite(define.c_str(), "@Vexan", "Collect2", "2");
  IniWrite(define.c_str(), "Game", "Search", "https://lists.test/Daily.ini");
  IniWrite(define.c_str(), "Web", "ClockHost", "clock.test");
  IniWrite(define.c_str(), "MainWeb", "Start", "https://home.test/start.htm");
  IniWrite(define.c_str(), "MainWeb", "StartEng", "https://home.test/start.htm");

  StartPanel();
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20120, 0)); // the Home channel
  fs::path saved = program / "Game" / "200811" / "Daily Game.swf";
  auto deadline = Clock::now() + 120s;
  while (Clock::now() < deadline &&
         !(fs::exists(saved) && web.Count("home.test", "/start.htm") > 0))
    std::this_thread::sleep_for(500ms);
  EXPECT_EQ(web.Count("clock.test", "."), 1);
  EXPECT_GE(web.Count("lists.test", "/Daily.ini"), 1);
  EXPECT_GE(web.Count("games.test", "/daily.swf"), 1);
  EXPECT_TRUE(fs::exists(saved)) << "the daily game was not saved";
  bool paneOverHttps = false;
  for (const TestWebRequest& request : web.Requests())
    paneOverHttps |= request.host == "home.test" && request.scheme == "https";
  EXPECT_TRUE(paneOverHttps) << "the Home Pane did not reach home.test over https";
  panes = ChildrenOf(panelPid);
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_TRUE(Ended(panelPid, 20s));
  panelPid = -1;
  CarrierDisconnect(&client);
}

} // namespace
