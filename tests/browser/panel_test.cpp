// The real Panel and browser program in a temporary copy of the build's program folder,
// talked to as a plain carrier client, judged by the screen's colours in the Pane rectangle.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "platform/ini.h"
#include "tests/collect/program_run.h"
#include "tests/testweb/test_web.h"
#include "x11_shots.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr unsigned StartColour = 0x0F3B66;    // iStart.htm
constexpr unsigned GameAreaColour = 0x1A1206; // iGameHome.htm in the frame "main"
constexpr unsigned GameColour = 0x22CC55;

using run::Output;

struct PanelPlace {
  int x = -1, y = -1, width = 0, height = 0;
};

// Where window id stands on the screen.
PanelPlace Place(const std::string& id) {
  PanelPlace p;
  std::istringstream lines(Output("xdotool getwindowgeometry --shell " + id + " 2>/dev/null"));
  for (std::string line; std::getline(lines, line);) {
    std::sscanf(line.c_str(), "X=%d", &p.x);
    std::sscanf(line.c_str(), "Y=%d", &p.y);
    std::sscanf(line.c_str(), "WIDTH=%d", &p.width);
    std::sscanf(line.c_str(), "HEIGHT=%d", &p.height);
  }
  return p;
}

// The window titled title for which fits(its place) holds, waiting up to wait.
std::string FindWindow(const std::string& title, const std::function<bool(PanelPlace)>& fits,
                       std::chrono::seconds wait) {
  std::string found;
  AwaitTrue(
      [&] {
        std::istringstream ids(run::Windows(title));
        for (std::string id; ids >> id;)
          if (fits(Place(id)))
            return !(found = id).empty();
        return false;
      },
      wait);
  return found;
}

// Where the Panel, the window titled "Tessel Skerry" as large as the face, stands.
PanelPlace FindPanel(std::chrono::seconds wait) {
  auto face = [](PanelPlace p) {
    return std::min(p.width, p.height) > 330 && std::max(p.width, p.height) > 470;
  };
  std::string id = FindWindow("Tessel Skerry", face, wait);
  return id.empty() ? PanelPlace() : Place(id);
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
  std::string state = Output("ps -o stat= -p " + std::to_string(pid));
  return !state.empty() && state[0] != 'Z';
}

// Every process below root, helpers of helpers included, with its command name.
std::vector<std::pair<pid_t, std::string>> Descendants(pid_t root) {
  std::vector<std::tuple<pid_t, pid_t, std::string>> all;
  std::istringstream list(Output("ps -e -o pid=,ppid=,comm="));
  pid_t pid, parent;
  for (std::string name; list >> pid >> parent >> name;)
    all.emplace_back(pid, parent, name);
  std::vector<std::pair<pid_t, std::string>> found = {{root, ""}};
  for (std::size_t i = 0; i < found.size(); ++i)
    for (auto& [p, pp, name] : all)
      if (pp == found[i].first)
        found.emplace_back(p, name);
  found.erase(found.begin());
  return found;
}

// Processes whose command line names a file below folder (program, Panes, ffmpeg streams).
std::string ProcessesNaming(const fs::path& folder) {
  std::string left;
  std::istringstream list(Output("ps -e -o stat=,args="));
  for (std::string state, args; list >> state && std::getline(list, args);)
    if (state[0] != 'Z' && args.find(folder.string()) != std::string::npos)
      left += state + args + "\n";
  return left;
}

// A press at x, y; twice: a second press where the pointer stands, without a move.
void Click(int x, int y, bool twice = false) {
  std::string command = "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) +
                        " sleep 0.3 click 1" + (twice ? " sleep 0.7 click 1" : "");
  ASSERT_EQ(std::system(command.c_str()), 0);
}

class PanelWithPanes : public testing::Test {
 protected:
  run::Program folders; // program, run and system folders; starts the Panel, connects to it
  fs::path root = folders.root, program = folders.program;
  pid_t panelPid = -1, windowManager = -1;
  PanelPlace panel;
  int paneX = 0, paneY = 0; // the upright Pane's corner
  CarrierConnection client;

  void SetUp() override {
    fs::copy(SKERRY_PROGRAM_DIR, program,
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    for (const char* old : {"Game", "Video", "iGame.ini", "Web/Menu1.htm"})
      fs::remove_all(program / old);
    for (const char* folder : {"Video", "Game"})
      fs::create_directories(program / folder);
    std::ofstream(program / "Game" / "green game.swf") << TinySwf(310, 370, GameColour);
    std::ofstream(program / "Game" / "second.swf") << TinySwf(310, 370, 0x884400);
    fs::create_directories(root / "system");
  }

  void TearDown() override {
    CarrierDisconnect(&client);
    for (pid_t pid : panelPid > 0 ? ChildrenOf(panelPid) : std::vector<pid_t>())
      kill(pid, SIGKILL);
    Stop(panelPid);
    Stop(windowManager);
  }

  // Starts the Panel and waits for the start page in its upright Pane.
  testing::AssertionResult
  StartOnTheStartPage(const std::vector<std::pair<std::string, std::string>>& env = {}) {
    panelPid = folders.Start({}, env);
    panel = FindPanel(30s);
    paneX = panel.x + 20, paneY = panel.y + 74;
    if (panel.width <= 0)
      return testing::AssertionFailure() << "no window titled Tessel Skerry";
    return AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 60s);
  }
};

} // namespace

// The game channel's Pane stays on the Panel's screen through every change of its window,
// with and without a window manager.
TEST_F(PanelWithPanes, PanesStayOnThePanelThroughHidingTopmostAndTurning) {
  if (const char* wm = std::getenv("SKERRY_TEST_WM"); wm && *wm) { // openbox, or none
    windowManager = Spawn(std::string("/usr/bin/") + wm, {}, {}, (root / "wm.log").string());
    std::this_thread::sleep_for(1s);
    ASSERT_FALSE(Ended(windowManager, 0s)) << wm << " didn't start";
  }
  ASSERT_TRUE(StartOnTheStartPage());
  ASSERT_TRUE(folders.Connect(&client, 20));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0));
  // The game channel, minimize, open from the tray menu, topmost on and off, minimize, a
  // second start (w 1), turned and upright again with the pointer where the turn is asked.
  const struct {
    unsigned message;
    WParam w;
    const char* pointer;
  } steps[] = {{0, 0, nullptr},        {1033, 20030, nullptr},   {273, 40001, nullptr},
               {1033, 20200, nullptr}, {1033, 20200, nullptr},   {1033, 20030, nullptr},
               {0, 1, nullptr},        {1033, 20180, "700 400"}, {1033, 20180, "400 100"}};
  for (const auto& step : steps) {
    SCOPED_TRACE(testing::Message() << "step " << (&step - steps));
    if (step.pointer) {
      EXPECT_EQ(std::system(("xdotool mousemove " + std::string(step.pointer)).c_str()), 0);
    }
    EXPECT_TRUE(step.message == 0 || CarrierClientPost(&client, step.message, step.w, 0));
    if (step.w == 1) {
      EXPECT_TRUE(Ended(folders.Start(), 30s)) << "a second Panel stayed";
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
    EXPECT_TRUE(AwaitColour(GameAreaColour, x + w / 2 - 30, y + h - 60, 60, 30, 60s));
    EXPECT_TRUE(AwaitColour(GameAreaColour, x + w - 30, y + h - 60, 20, 30, 5s));
    EXPECT_EQ(ChildrenOf(panelPid).size(), 2u) << "Panes launched again or lost";
  }
}

// The shipped settings and an empty Game folder: no first-start question; the start page, Home's
// own page (not a blank one), the empty menu's hint; video folder (streaming through ffmpeg) and
// image player open; past the exit question no process of the program is left within 5 s.
TEST_F(PanelWithPanes, FirstStartLeadsSomewhereAndTheExitLeavesNothingRunning) {
  fs::remove_all(program / "Game");
  fs::create_directories(program / "Game");
  ASSERT_TRUE(MakeClip(program / "Video" / "clip.flv",
                       "-f lavfi -i color=c=red:size=160x120:rate=25 -t 30 -c:v flv1"));
  IniWrite((program / "Define.ini").c_str(), "Video", "Start", "Video\\clip.flv.htw");
  fs::create_directories(root / "pictures");
  std::ofstream(root / "pictures" / "a.ppm") << "P3 1 1 255 200 0 0\n";
  ASSERT_TRUE(StartOnTheStartPage({{"XDG_PICTURES_DIR", (root / "pictures").string()}}));
  auto asked = Clock::now() + 5s; // the top-list job would have asked by now
  KeepShot("desk-start.png");
  ASSERT_TRUE(folders.Connect(&client, 20));
  auto open = [&](unsigned message, WParam w) { // a Pane of its own
    std::size_t before = ChildrenOf(panelPid).size();
    ASSERT_TRUE(CarrierClientPost(&client, message, w, 0));
    EXPECT_TRUE(AwaitTrue([&] { return ChildrenOf(panelPid).size() > before; }, 20s)) << w;
  };
  open(1033, 20120);
  EXPECT_TRUE(AwaitColour(0x0F3B66, paneX + 200, paneY + 6, 60, 20, 30s)) << "Home is blank";
  KeepShot("desk-home.png");
  open(1033, 20100);
  EXPECT_TRUE(AwaitColour(0x12324F, paneX + 120, paneY + 360, 60, 20, 30s)) << "no hint";
  KeepShot("desk-empty-menu.png");
  open(273, 40004);
  open(273, 40005);
  auto streaming = [&] {
    auto all = Descendants(panelPid);
    return std::any_of(all.begin(), all.end(), [](auto& p) { return p.second == "ffmpeg"; });
  };
  EXPECT_TRUE(AwaitTrue(streaming, 60s)) << "the player streams nothing";
  std::this_thread::sleep_until(asked);
  EXPECT_EQ(run::Windows("Tessel @Vexan"), "") << "a first-start question";
  auto running = Descendants(panelPid);
  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 0));
  std::string box = FindWindow(
      "Tessel Skerry", [](PanelPlace p) { return p.width > 0 && p.width < 330 && p.height < 330; },
      10s);
  ASSERT_FALSE(box.empty()) << "no exit question";
  EXPECT_EQ(std::system(("xdotool windowfocus --sync " + box + " key y").c_str()), 0);
  CarrierDisconnect(&client);
  EXPECT_TRUE(Ended(panelPid, 5s)) << "the Panel didn't end";
  panelPid = -1;
  EXPECT_TRUE(AwaitTrue([&] { return ProcessesNaming(root).empty(); }, 5s))
      << ProcessesNaming(root);
  for (auto& [pid, name] : running)
    EXPECT_FALSE(Running(pid)) << name << " " << pid << " outlived the exit";
}

// Presses: Start opens the game menu, whose first icon plays; Date twice (no move) shows the
// start page, whose Start row acts as the face's; Back reaches the Pane; Close ends it in 5 s.
TEST_F(PanelWithPanes, ClicksRunTheZoneUnderThePointer) {
  ASSERT_TRUE(StartOnTheStartPage());
  KeepShot("panel-start.png");
  pid_t startPane = ChildrenOf(panelPid).front();

  Click(panel.x + 173, panel.y + 496);
  ASSERT_TRUE(AwaitColour(GameAreaColour, paneX + 100, paneY + 330, 100, 30, 60s));
  KeepShot("panel-menu.png");
  Click(paneX + 11, paneY + 12);
  unsigned game = AwaitScreen(paneX + 130, paneY + 200, 50, 50, 90s,
                              [](unsigned c) { return Near(c, GameColour) || Near(c, 0x884400); });
  ASSERT_TRUE(Near(game, GameColour) || Near(game, 0x884400)) << "no game plays: " << Hex(game);
  KeepShot("panel-game.png");

  Click(panel.x + 30, panel.y + 66, true);
  EXPECT_TRUE(AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 30s));
  Click(paneX + 150, paneY + 145); // the start page's Start row: the game channel again
  EXPECT_TRUE(AwaitColour(game, paneX + 130, paneY + 200, 50, 50, 30s));
  Click(panel.x + 113, panel.y + 496); // Back (the << button)
  EXPECT_TRUE(AwaitColour(GameAreaColour, paneX + 100, paneY + 330, 100, 30, 30s));

  Click(panel.x + 30, panel.y + 66, true);
  ASSERT_TRUE(AwaitColour(StartColour, paneX + 120, paneY + 300, 60, 20, 30s));
  Click(panel.x + 316, panel.y + 66);
  EXPECT_TRUE(AwaitTrue([&] { return !Running(startPane); }, 5s)) << "the closed Pane still runs";
}

// A start with Rotate=90 places the start page turned. Named hosts of hosts.ini reach the
// test web: the daily collection's clock, list and game, and the Home page over https.
TEST_F(PanelWithPanes, NamedHostsOfTheHostsTableReachTheTestWeb) {
  TestWeb web;
  web.Answer("clock.test", "*", {"date=Sat, 15 Nov 2008 10:00:00 GMT"});
  web.Put("lists.test", "/Daily.ini",
          "[Daily]\n1115=https://games.test/daily.swf\n[Title]\n1115=Daily Game.swf\n");
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

  panelPid = folders.Start();
  for (auto until = Clock::now() + 30s; panel.width <= panel.height && Clock::now() < until;)
    panel = FindPanel(10s);
  ASSERT_GT(panel.width, panel.height) << "the panel didn't start turned";
  for (int left : {20, 200, 350})
    EXPECT_TRUE(AwaitColour(StartColour, panel.x + 122 + left, panel.y + 44, 30, 10, 60s)) << left;
  ASSERT_TRUE(folders.Connect(&client, 20));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20120, 0)); // the Home channel
  fs::path saved = program / "Game" / "200811" / "Daily Game.swf";
  AwaitTrue([&] { return fs::exists(saved) && web.Count("home.test", "/start.htm") > 0; }, 120s);
  EXPECT_EQ(web.Count("clock.test", "."), 1);
  EXPECT_TRUE(fs::exists(saved)) << "the daily game was not saved from lists.test and games.test";
  auto requests = web.Requests();
  EXPECT_TRUE(std::any_of(requests.begin(), requests.end(), [](const TestWebRequest& r) {
    return r.host == "home.test" && r.scheme == "https";
  })) << "the Home Pane did not reach home.test over https";

  // A Panel killed outright: its Panes end by themselves.
  auto panes = Descendants(panelPid);
  kill(panelPid, SIGKILL);
  EXPECT_TRUE(Ended(panelPid, 5s));
  panelPid = -1;
  for (auto& [pid, name] : panes)
    EXPECT_TRUE(AwaitTrue([pid] { return !Running(pid); }, 10s))
        << name << Output("ps -o pid=,ppid=,sid=,args= -p " + std::to_string(pid));
}
