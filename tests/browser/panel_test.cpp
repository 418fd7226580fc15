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
      if ((p.width > 330 && p.height > 470) || (p.width > 470 && p.height > 330))
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

// True when the process shows a viewable window of its own.
bool HasViewableWindow(pid_t pid) {
  return !Output("xdotool search --onlyvisible --pid " + std::to_string(pid) + " 2>/dev/null")
              .empty();
}

void Click(int x, int y) {
  std::string command =
      "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + " sleep 0.3 click 1";
  ASSERT_EQ(std::system(command.c_str()), 0);
}

// A second press where the pointer stands, without a move in between.
void ClickAgain() {
  std::this_thread::sleep_for(700ms);
  ASSERT_EQ(std::system("xdotool click 1"), 0);
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
    if (panelPid > 0)
      for (pid_t pid : ChildrenOf(panelPid))
        panes.push_back(pid);
    for (pid_t pid : panes) {
      if (kill(pid, 0) == 0)
        kill(pid, SIGKILL);
    }
    if (panelPid > 0)
      Stop(panelPid);
    if (windowManager > 0)
      Stop(windowManager);
    if (!root.empty()) {
      std::error_code ignored;
      fs::remove_all(root, ignored);
    }
  }

  pid_t windowManager = -1;

  // The window manager named by SKERRY_TEST_WM (ctest runs the scenario with
  // openbox and without any).
  void StartWindowManager() {
    const char* wm = std::getenv("SKERRY_TEST_WM");
    if (wm == nullptr || *wm == '\0')
      return;
    windowManager = fork();
    if (windowManager == 0) {
      execlp(wm, wm, static_cast<char*>(nullptr));
      _exit(127);
    }
    std::this_thread::sleep_for(2s);
    ASSERT_FALSE(Ended(windowManager, 0s)) << wm << " didn't start";
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

// The Pane of the game channel stays on the Panel's screen through every
// change of the Panel's window, with and without a window manager; the
// process list holds exactly the two Panes, and after the exit road each has
// a window of its own.
TEST_F(PanelWithPanes, PanesStayOnThePanelThroughHidingTopmostAndTurning) {
  StartWindowManager();
  StartPanel();
  PanelPlace panel = FindPanel(30s);
  ASSERT_GT(panel.width, 0) << "no window titled Tessel Skerry";
  fs::path shot = root / "shot.png";
  unsigned seen = AwaitColour(shot, StartColour, panel.x + 140, panel.y + 374, 60, 20, 60s);
  ASSERT_TRUE(Near(seen, StartColour)) << "start page not on the Panel's screen: " << Hex(seen);
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));

  struct Step {
    const char* name;
    unsigned message;
    WParam w;
    int pointerX, pointerY; // where the pointer stands for a turn
  };
  const Step steps[] = {
      {"game channel", 0, 0, 0, 0},
      {"minimize", 1033, 20030, 0, 0},
      {"open from the tray menu", 273, 40001, 0, 0},
      {"topmost on", 1033, 20200, 0, 0},
      {"topmost off", 1033, 20200, 0, 0},
      {"minimize once more", 1033, 20030, 0, 0},
      {"a second start", 0, 1, 0, 0},
      {"turned", 1033, 20180, 700, 400},
      {"upright again", 1033, 20180, 400, 100},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    if (step.pointerX != 0) {
      std::string move = "xdotool mousemove " + std::to_string(step.pointerX) + " " +
                         std::to_string(step.pointerY);
      ASSERT_EQ(std::system(move.c_str()), 0);
    }
    if (step.message != 0) {
      ASSERT_TRUE(CarrierClientPost(&client, step.message, step.w, 0));
    }
    if (step.w == 1) {
      pid_t first = panelPid;
      StartPanel();
      EXPECT_TRUE(Ended(panelPid, 30s)) << "a second Panel stayed";
      panelPid = first;
    }
    if (step.w == 20030) {
      std::this_thread::sleep_for(2s);
      continue;
    }
    std::this_thread::sleep_for(1s);
    panel = FindPanel(10s);
    bool turned = panel.width > panel.height;
    int x = panel.x + (turned ? 122 : 20), y = panel.y + (turned ? 20 : 74);
    int w = turned ? 396 : 310, h = turned ? 310 : 396;
    // The menu's dark area, at the middle and at the far end of the Pane.
    seen = AwaitColour(shot, GameAreaColour, x + w / 2 - 30, y + h - 60, 60, 30, 60s);
    EXPECT_TRUE(Near(seen, GameAreaColour)) << "game menu not on the Panel's screen: " << Hex(seen);
    unsigned end = MeanColour(shot, x + w - 30, y + h - 60, 20, 30);
    EXPECT_TRUE(Near(end, GameAreaColour)) << "the Pane doesn't reach its far end: " << Hex(end);
    if (turned)
      KeepPanelShot(shot, panel, "panel-turned.png");
    EXPECT_EQ(ChildrenOf(panelPid).size(), 2u) << "Panes launched again or lost";
  }

  // The exit road: the Panes live on, each as a window of its own.
  panes = ChildrenOf(panelPid);
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_TRUE(Ended(panelPid, 20s));
  panelPid = -1;
  std::this_thread::sleep_for(2s);
  for (pid_t pid : panes) {
    EXPECT_TRUE(Running(pid)) << "Pane " << pid << " ended with the Panel";
    EXPECT_TRUE(HasViewableWindow(pid)) << "Pane " << pid << " runs without a window";
  }
  CarrierDisconnect(&client);
}

// Presses by the mouse: a second press without a move runs the zone under
// the pointer again, Back reaches the Pane, and Close ends the closed Pane.
TEST_F(PanelWithPanes, ClicksRunTheZoneUnderThePointer) {
  StartPanel();
  PanelPlace panel = FindPanel(30s);
  ASSERT_GT(panel.width, 0) << "no window titled Tessel Skerry";
  const int paneX = panel.x + 20, paneY = panel.y + 74;
  fs::path shot = root / "shot.png";
  unsigned seen = AwaitColour(shot, StartColour, paneX + 120, paneY + 300, 60, 20, 60s);
  ASSERT_TRUE(Near(seen, StartColour)) << Hex(seen);
  pid_t startPane = ChildrenOf(panelPid).front();

  // Start (the game menu), a game, and Start twice: the game stays.
  Click(panel.x + 173, panel.y + 496);
  seen = AwaitColour(shot, GameAreaColour, paneX + 100, paneY + 330, 100, 30, 60s);
  ASSERT_TRUE(Near(seen, GameAreaColour)) << "Start didn't open the game menu: " << Hex(seen);
  std::this_thread::sleep_for(1s);
  Click(paneX + 11, paneY + 12);
  // Either game may come first.
  unsigned game = ~0u;
  auto until = Clock::now() + 90s;
  while (!Near(game, GameColour) && !Near(game, 0x884400) && Clock::now() < until) {
    std::this_thread::sleep_for(1s);
    Screenshot(shot);
    game = MeanColour(shot, paneX + 130, paneY + 200, 50, 50);
  }
  ASSERT_TRUE(Near(game, GameColour) || Near(game, 0x884400)) << "no game plays: " << Hex(game);
  // Start on the game channel goes back to the start page, a second press
  // where the pointer stands brings the game channel again.
  Click(panel.x + 173, panel.y + 496);
  ClickAgain();
  std::this_thread::sleep_for(3s);
  Screenshot(shot);
  seen = MeanColour(shot, paneX + 130, paneY + 200, 50, 50);
  EXPECT_TRUE(Near(seen, game)) << "Start pressed twice didn't show the game again: " << Hex(seen);

  // Back (the << button) steps the game Pane back to its menu.
  Click(panel.x + 113, panel.y + 496);
  seen = AwaitColour(shot, GameAreaColour, paneX + 100, paneY + 330, 100, 30, 30s);
  EXPECT_TRUE(Near(seen, GameAreaColour)) << "Back didn't reach the Pane: " << Hex(seen);

  // Date twice shows the start page; Close then ends its Pane.
  Click(panel.x + 30, panel.y + 66);
  ClickAgain();
  seen = AwaitColour(shot, StartColour, paneX + 120, paneY + 300, 60, 20, 30s);
  EXPECT_TRUE(Near(seen, StartColour)) << "Date didn't show the start page: " << Hex(seen);
  Click(panel.x + 316, panel.y + 66);
  auto deadline = Clock::now() + 5s;
  while (Running(startPane) && Clock::now() < deadline)
    std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(Running(startPane)) << "the closed Pane still runs";
}

// A start with Rotate=90: the start page comes up turned and fills its place.
TEST_F(PanelWithPanes, StartTurnedPlacesTheStartPage) {
  std::string define;
  {
    std::ifstream in(program / "Define.ini");
    define.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  std::size_t at = define.find("Rotate=0");
  ASSERT_NE(at, std::string::npos);
  define.replace(at, 8, "Rotate=90");
  std::ofstream(program / "Define.ini", std::ios::trunc) << define;
  ASSERT_EQ(std::system("xdotool mousemove 700 400"), 0);
  StartPanel();
  fs::path shot = root / "shot.png";
  PanelPlace panel;
  auto deadline = Clock::now() + 30s;
  while (panel.width <= panel.height && Clock::now() < deadline)
    panel = FindPanel(10s);
  ASSERT_GT(panel.width, panel.height) << "the panel didn't start turned";
  const int x = panel.x + 122, y = panel.y + 20;
  for (int left : {20, 200, 350}) {
    unsigned seen = AwaitColour(shot, StartColour, x + left, y + 24, 30, 10, 60s);
    EXPECT_TRUE(Near(seen, StartColour))
        << "start page not at the turned place, " << left << " from its left: " << Hex(seen);
  }
  // Upright it would cover the face below the turned Pane.
  EXPECT_FALSE(Near(MeanColour(shot, panel.x + 40, panel.y + 335, 250, 10), StartColour));
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
