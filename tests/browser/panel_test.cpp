// The real Panel with the real browser program on a virtual display: the
// program folder of the build copied to a temporary folder, with a Game
// folder of two small Flash files. The test talks to the Panel as a plain
// carrier client (as another process could) and judges what a user sees by
// the colours of the screen inside the Pane rectangle of the Panel's window.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>
#include <unistd.h>

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
  int x = -1, y = -1, width = 0, height = 0;
};

// Where the window titled "Tessel Skerry" stands on the screen.
PanelPlace FindPanel(std::chrono::seconds wait) {
  for (auto deadline = Clock::now() + wait; Clock::now() < deadline;) {
    std::istringstream lines(Output("xdotool search --name '^Tessel Skerry$' "
                                    "getwindowgeometry --shell %@ 2>/dev/null"));
    PanelPlace p;
    for (std::string line; std::getline(lines, line);) {
      std::sscanf(line.c_str(), "X=%d", &p.x);
      std::sscanf(line.c_str(), "Y=%d", &p.y);
      std::sscanf(line.c_str(), "WIDTH=%d", &p.width);
      if (std::sscanf(line.c_str(), "HEIGHT=%d", &p.height) == 1 &&
          ((p.width > 330 && p.height > 470) || (p.width > 470 && p.height > 330)))
        return p;
    }
    std::this_thread::sleep_for(200ms);
  }
  return PanelPlace();
}

// Running children of parent (ended ones not yet reaped left out), oldest first.
std::vector<pid_t> ChildrenOf(pid_t parent) {
  std::vector<pid_t> children;
  std::istringstream list(Output("ps --ppid " + std::to_string(parent) + " -o pid=,stat="));
  pid_t pid;
  for (std::string state; list >> pid >> state;)
    if (state[0] != 'Z')
      children.push_back(pid);
  return children;
}

// True while pid runs (exists and hasn't ended as a zombie).
bool Running(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
  std::size_t close = text.rfind(')');
  return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z';
}

bool HasViewableWindow(pid_t pid) {
  return !Output("xdotool search --onlyvisible --pid " + std::to_string(pid) + " 2>/dev/null")
              .empty();
}

// A press at x, y; twice: a second press where the pointer stands, without a move.
void Click(int x, int y, bool twice = false) {
  std::string command = "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) +
                        " sleep 0.3 click 1" + (twice ? " sleep 0.7 click 1" : "");
  ASSERT_EQ(std::system(command.c_str()), 0);
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
    for (const char* old : {"Game", "Video", "iGame.ini", "Web/Menu1.htm"})
      fs::remove_all(program / old);
    fs::create_directories(program / "Video");
    fs::create_directories(program / "Game");
    std::ofstream(program / "Game" / "green game.swf") << TinySwf(310, 370, GameColour);
    std::ofstream(program / "Game" / "second.swf") << TinySwf(310, 370, 0x884400);
    fs::create_directories(root / "run");
    fs::permissions(root / "run", fs::perms::owner_all);
    fs::create_directories(root / "system");
  }

  void TearDown() override {
    if (panelPid > 0)
      for (pid_t pid : ChildrenOf(panelPid))
        panes.push_back(pid);
    for (pid_t pid : panes)
      kill(pid, SIGKILL);
    Stop(panelPid);
    Stop(windowManager);
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }

  pid_t windowManager = -1;

  void StartPanel() {
    panelPid = Spawn((program / "skerry").string(), {},
                     {"XDG_RUNTIME_DIR=" + (root / "run").string(),
                      "SKERRY_SYSTEM_DIR=" + (root / "system").string(), "LC_ALL=C"},
                     (root / "panel.log").string());
  }

  bool Connect(CarrierConnection* c) {
    std::string path = (root / "run" / "skerry" / "panel.sock").string(), error;
    long long native = 0;
    for (auto until = Clock::now() + 20s; Clock::now() < until;) {
      if (CarrierConnect(c, path, &error) && CarrierClientHello(c, getpid(), 3000, &native))
        return true;
      CarrierDisconnect(c);
      std::this_thread::sleep_for(100ms);
    }
    return false;
  }
};

} // namespace

// The Pane of the game channel stays on the Panel's screen through every
// change of the Panel's window, with and without a window manager; the
// process list holds exactly the two Panes, and after the exit road each has
// a window of its own.
TEST_F(PanelWithPanes, PanesStayOnThePanelThroughHidingTopmostAndTurning) {
  if (const char* wm = std::getenv("SKERRY_TEST_WM"); wm && *wm) { // openbox, or none
    windowManager = Spawn(std::string("/usr/bin/") + wm, {}, {}, (root / "wm.log").string());
    std::this_thread::sleep_for(1s);
    ASSERT_FALSE(Ended(windowManager, 0s)) << wm << " didn't start";
  }
  StartPanel();
  PanelPlace panel = FindPanel(30s);
  ASSERT_GT(panel.width, 0) << "no window titled Tessel Skerry";
  ASSERT_TRUE(AwaitColour(StartColour, panel.x + 140, panel.y + 374, 60, 20, 60s))
      << "start page not on the Panel's screen";
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));
  const struct {
    const char* name;
    unsigned message;
    WParam w;
    const char* pointer; // where the pointer stands for a turn
  } steps[] = {
      {"game channel", 0, 0, nullptr},
      {"minimize", 1033, 20030, nullptr},
      {"open from the tray menu", 273, 40001, nullptr},
      {"topmost on", 1033, 20200, nullptr},
      {"topmost off", 1033, 20200, nullptr},
      {"minimize once more", 1033, 20030, nullptr},
      {"a second start", 0, 1, nullptr},
      {"turned", 1033, 20180, "700 400"},
      {"upright again", 1033, 20180, "400 100"},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.name);
    std::string move = step.pointer ? "xdotool mousemove " + std::string(step.pointer) : "true";
    EXPECT_EQ(std::system(move.c_str()), 0);
    EXPECT_TRUE(step.message == 0 || CarrierClientPost(&client, step.message, step.w, 0));
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
    EXPECT_TRUE(AwaitColour(GameAreaColour, x + w / 2 - 30, y + h - 60, 60, 30, 60s))
        << "game menu not on the Panel's screen";
    EXPECT_TRUE(AwaitColour(GameAreaColour, x + w - 30, y + h - 60, 20, 30, 5s))
        << "the Pane doesn't reach its far end";
    if (turned)
      KeepShot("panel-turned.png");
    EXPECT_EQ(ChildrenOf(panelPid).size(), 2u) << "Panes launched again or lost";
  }

  // The exit road: the Panes live on, each as a window of its own.
  panes = ChildrenOf(panelPid);
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_TRUE(Ended(panelPid, 20s));
  panelPid = -1;
  for (pid_t pid : panes) {
    for (auto until = Clock::now() + 10s; !HasViewableWindow(pid) && Clock::now() < until;)
      std::this_thread::sleep_for(200ms);
    EXPECT_TRUE(HasViewableWindow(pid)) << "Pane " << pid << " runs without a window";
    EXPECT_TRUE(Running(pid)) << "Pane " << pid << " ended with the Panel";
  }
  CarrierDisconnect(&client);
}

// Presses by the mouse: Start opens the game menu, whose first icon (a game,
// drawn in yellow) plays; a second press without a move runs the zone under
// the pointer again (Date twice shows the start page); Back reaches the Pane;
// Close ends the closed Pane within 5 s.
TEST_F(PanelWithPanes, ClicksRunTheZoneUnderThePointer) {
  StartPanel();
  PanelPlace panel = FindPanel(30s);
  ASSERT_GT(panel.width, 0) << "no window titled Tessel Skerry";
  const int paneX = panel.x + 20, paneY = panel.y + 74;
  ASSERT_TRUE(AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 60s))
      << "start page not on the Panel's screen";
  KeepShot("panel-start.png");
  pid_t startPane = ChildrenOf(panelPid).front();

  Click(panel.x + 173, panel.y + 496);
  ASSERT_TRUE(AwaitColour(GameAreaColour, paneX + 100, paneY + 330, 100, 30, 60s))
      << "Start didn't open the game menu";
  auto yellow = [](unsigned c) { return ((c >> 16) & 0xFF) > 0xA0 && ((c >> 8) & 0xFF) > 0x80; };
  unsigned icon = AwaitScreen(paneX + 6, paneY + 8, 9, 9, 5s, yellow);
  EXPECT_TRUE(yellow(icon)) << "the first icon isn't a game's: " << Hex(icon);
  Click(paneX + 11, paneY + 12);
  // Either game may be listed first.
  unsigned game = AwaitScreen(paneX + 130, paneY + 200, 50, 50, 90s,
                              [](unsigned c) { return Near(c, GameColour) || Near(c, 0x884400); });
  ASSERT_TRUE(Near(game, GameColour) || Near(game, 0x884400)) << "no game plays: " << Hex(game);
  KeepShot("panel-game.png");

  Click(panel.x + 30, panel.y + 66, true);
  EXPECT_TRUE(AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 30s))
      << "Date twice didn't show the start page";
  Click(panel.x + 173, panel.y + 496); // Start on the start page: the game channel again
  EXPECT_TRUE(AwaitColour(game, paneX + 130, paneY + 200, 50, 50, 30s))
      << "the game channel didn't come back";
  Click(panel.x + 113, panel.y + 496); // Back (the << button)
  EXPECT_TRUE(AwaitColour(GameAreaColour, paneX + 100, paneY + 330, 100, 30, 30s))
      << "Back didn't reach the Pane";

  Click(panel.x + 30, panel.y + 66, true);
  ASSERT_TRUE(AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 30s));
  Click(panel.x + 316, panel.y + 66);
  auto deadline = Clock::now() + 5s;
  while (Running(startPane) && Clock::now() < deadline)
    std::this_thread::sleep_for(100ms);
  EXPECT_FALSE(Running(startPane)) << "the closed Pane still runs";
}

// A start with Rotate=90 places the start page turned. hosts.ini sends named
// hosts to the test web: the Panel's own fetches (the daily collection's
// clock, list and game) and the browser program's engine (the Home page, over
// https with the test web's certificate) go there.
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
  IniWrite(define.c_str(), "@Vexan", "Rotate", "90");
  ASSERT_EQ(std::system("xdotool mousemove 700 400"), 0);

  StartPanel();
  PanelPlace panel;
  for (auto until = Clock::now() + 30s; panel.width <= panel.height && Clock::now() < until;)
    panel = FindPanel(10s);
  ASSERT_GT(panel.width, panel.height) << "the panel didn't start turned";
  for (int left : {20, 200, 350}) {
    EXPECT_TRUE(AwaitColour(StartColour, panel.x + 122 + left, panel.y + 44, 30, 10, 60s))
        << "start page not at the turned place, " << left << " from its left";
  }
  // Upright it would cover the face below the turned Pane.
  EXPECT_FALSE(Near(ScreenColour(panel.x + 40, panel.y + 335, 250, 10), StartColour));
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20120, 0)); // the Home channel
  fs::path saved = program / "Game" / "200811" / "Daily Game.swf";
  auto deadline = Clock::now() + 120s;
  while (Clock::now() < deadline &&
         !(fs::exists(saved) && web.Count("home.test", "/start.htm") > 0))
    std::this_thread::sleep_for(200ms);
  EXPECT_EQ(web.Count("clock.test", "."), 1);
  EXPECT_TRUE(fs::exists(saved))
      << "the daily game was not saved"; // from lists.test and games.test
  bool paneOverHttps = false;
  for (const TestWebRequest& request : web.Requests())
    paneOverHttps |= request.host == "home.test" && request.scheme == "https";
  EXPECT_TRUE(paneOverHttps) << "the Home Pane did not reach home.test over https";
  CarrierDisconnect(&client);
}
