// The dispatcher on the headless backend: the real dialog procedure, recorded
// Pane traffic and outside calls, a temporary program folder per test.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "panel/dispatcher.h"
#include "panel/panel_state.h"
#include "panel/timers.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> outside; // calls of the services, in order
int phoneDrive = 0;
int harvestResult = 0;

// Joins the words of a call into one line; a null text shows as "(null)".
template <typename... Words> void Rec(const Words&... words) {
  std::string line;
  ((line += (line.empty() ? "" : " ") + std::string(words)), ...);
  outside.push_back(line);
}
const char* Text(const char* s) {
  return s != nullptr ? s : "(null)";
}
std::string Leaf(const char* p) {
  return fs::path(p).filename().string();
}

const DispatcherServices recording = [] {
  DispatcherServices s{};
  s.launchPane = [](PaneRow row, const char* address) {
    static const char* rows[] = {"Start", "Clock", "Game", "Home", "Video", "VideoSite", "Image"};
    Rec("launch", rows[row], Text(address));
  };
  s.rebuildGameMenu = [](const char* menu, const char* folder, const char* patterns) {
    Rec("gameMenu", Leaf(menu), Leaf(folder), patterns);
    return 0;
  };
  s.rebuildMediaMenu = [](const char* menu, const char* folder, const char* patterns) {
    Rec("mediaMenu", Leaf(menu), Leaf(folder), patterns);
    return 0;
  };
  s.startTopListJob = [](Hwnd, const char* list, const char* f) {
    Rec("topList", Text(list), Leaf(f));
  };
  s.startDailyJob = [](Hwnd, const char* list, const char* f) {
    Rec("daily", Text(list), Leaf(f));
  };
  s.harvestCache = [](const char*, const char* patterns) {
    return Rec("harvest", patterns), harvestResult;
  };
  s.findPhoneDrive = [](int letter, char*) {
    return Rec("findPhone", std::to_string(letter)), phoneDrive;
  };
  s.collectVideo = [](Hwnd, const char* url, const char* f, std::uint32_t entry) {
    Rec("collect", Text(url), "[" + Leaf(f) + "]", std::to_string(entry));
    return 0;
  };
  s.refreshGamePane = [](int mode) { Rec("refresh", std::to_string(mode)); };
  s.turnPanel = [](Hwnd, LParam arg) { Rec("turn", std::to_string(arg)); };
  s.unturnPanel = [](Hwnd, LParam arg) { Rec("unturn", std::to_string(arg)); };
  s.changeSkin = [](Hwnd) { Rec("skin"); };
  s.showPanel = [](Hwnd) { Rec("showPanel"); };
  return s;
}();

constexpr Hwnd BasePane = 100;
constexpr Hwnd GamePane = 200;
constexpr Hwnd ImagePane = 300;
constexpr Hwnd HomePane = 500;
constexpr Hwnd VideoPane = 800;

class Dispatcher : public ::testing::Test {
 protected:
  void SetUp() override {
    dir = fs::temp_directory_path() /
          ("skerry-dispatch-" + std::to_string(getpid()) + "-" +
           ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir);
    fs::create_directories(dir / "Game");
    fs::create_directories(dir / "Video");
    SetModulePathForTests((dir / "skerry").string());
    LanguageOffset = 0;
    HeadlessInstall();
    SetDispatcherServices(&recording);
    outside.clear();
    phoneDrive = 0;
    harvestResult = 0;

    ResetPanelState(Panel());
    panel = WinCreateWindow("#32770", "Tessel Skerry", PanelProc);
    Panel().PanelWindow = panel;
  }

  void TearDown() override {
    EXPECT_EQ(HeadlessUnscriptedQuestions(), 0) << "a question was asked that no test answered";
    SetDispatcherServices(nullptr);
    SetModulePathForTests("");
    fs::remove_all(dir);
  }

  void Define(const std::string& text) { std::ofstream(dir / "Define.ini") << text; }

  // Places a live Pane in a slot, as its announcement would.
  void Live(int slot, Hwnd pane) {
    Panel().PaneSlots[static_cast<std::size_t>(slot)] = pane;
    HeadlessSetPaneLive(pane, true);
  }

  void Command(std::uint32_t code, LParam arg = 0) {
    WinPostMessage(panel, MsgPanelCommand, code, arg);
    HeadlessPump();
  }

  // Messages that reached Panes, as "post 200 273 32787" lines.
  static std::vector<std::string> PaneTraffic() {
    std::vector<std::string> out;
    for (const HeadlessCall& c : HeadlessCalls()) {
      if (!IsPaneHandle(c.window))
        continue;
      std::string line = c.op + " " + std::to_string(c.window);
      if (c.op == "post" || c.op == "send")
        line += " " + std::to_string(c.message) + " " + std::to_string(c.w);
      out.push_back(line);
    }
    return out;
  }

  static std::vector<std::string> BoxTexts() {
    std::vector<std::string> out;
    for (const HeadlessBox& b : HeadlessBoxes())
      out.push_back(b.title + ": " + b.text);
    return out;
  }

  fs::path dir;
  Hwnd panel = 0;
};

using Lines = std::vector<std::string>;

TEST(RemapTable, RewritesOnceByChannel) {
  struct Row {
    std::uint32_t code;
    int channel;
    std::uint32_t expected;
  } rows[] = {{20080, 0, 20060}, {20080, ChannelImage, 19000},
              {20090, 2, 20050}, {20100, 0, 20090},
              {20110, 5, 20040}, {20050, 0, 20050}};
  for (const Row& row : rows)
    EXPECT_EQ(RemapCode(row.code, row.channel), row.expected) << row.code << " on " << row.channel;
}

TEST_F(Dispatcher, Zone9OpensTheGameChannelThenTogglesWithTheBase) {
  Panel().Channel = 0;
  Live(0, BasePane);
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().HoverCode, 20090u) << "remapped once, not twice";
  EXPECT_EQ(outside, (Lines{"gameMenu Menu1.htm Game *.swf,*.htm,*.html", "launch Game "}));
  Live(2, GamePane); // the game Pane announced itself
  outside.clear();
  HeadlessClearCalls();
  Command(20090); // a posted 20090 is zone 8: back in the current Pane
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelClock);
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().PreviousChannel, ChannelClock);
  EXPECT_EQ(PaneTraffic(), (Lines{"post 200 273 32787", "bringToTop 100", "bringToTop 200"}));
  EXPECT_TRUE(outside.empty()) << "the live game Pane was launched again";
}

TEST_F(Dispatcher, ImageChannelTakesThePlayersOwnCodes) {
  Live(0, BasePane);
  Live(1, ImagePane);
  for (int channel : {ChannelImage, ChannelClock}) {
    Panel().Channel = channel;
    for (std::uint32_t code : {20080u, 20040u, 20050u, 20060u, 20230u})
      Command(code);
  }
  EXPECT_EQ(PaneTraffic(), (Lines{"post 300 273 32777", "post 300 273 57680", "post 300 273 57681",
                                  "post 300 273 32781", "post 300 273 32805", "post 100 273 32779",
                                  "post 100 273 32788", "post 100 273 32787", "post 100 273 32779",
                                  "send 100 273 32805"}));
}

TEST_F(Dispatcher, CloseCurrentAsksOnTheGameChannel) {
  fs::create_directories(dir / "Game" / "2026-11");
  fs::path game = dir / "Game" / "Some Game.swf";
  fs::path monthly = dir / "Game" / "2026-11" / "Daily.swf";
  fs::path outsider = dir / "Other.swf";
  const std::string notFound = "Tessel Message: Number not found, select again.";
  auto del = [](const fs::path& f) { return "Tessel Message: Delete File :\n" + f.string(); };
  struct Row {
    const char* name;
    std::vector<int> answers;
    std::string address;
    Lines boxes;
    bool closed;
    const fs::path* deleted;
  } rows[] = {
      {"cancel does nothing", {IDCANCEL}, game.string(), {}, false, nullptr},
      {"yes closes the game Pane", {IDYES}, game.string(), {}, true, nullptr},
      {"no with a page address", {IDNO}, "http://example.com/game.htm", {notFound}, false, nullptr},
      {"no, then yes deletes the file", {IDNO, IDYES}, game.string(), {del(game)}, false, &game},
      {"no, then no keeps the file", {IDNO, IDNO}, game.string(), {del(game)}, false, nullptr},
      {"a game of a month folder",
       {IDNO, IDYES},
       monthly.string(),
       {del(monthly)},
       false,
       &monthly},
      {"file outside Game", {IDNO}, outsider.string(), {notFound}, false, nullptr},
      {"climbing out of Game",
       {IDNO},
       (dir / "Game/2026-11/../../Other.swf").string(),
       {notFound},
       false,
       nullptr}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    for (const fs::path& f : {game, monthly, outsider})
      std::ofstream(f) << "FWS";
    outside.clear();
    HeadlessInstall();
    panel = WinCreateWindow("#32770", "Tessel Skerry", PanelProc);
    Panel().PanelWindow = panel;
    Live(0, BasePane);
    Live(2, GamePane);
    Panel().Channel = ChannelGame;
    WinSetControlText(panel, AddressControl, row.address);
    HeadlessScriptAnswers(row.answers);
    Command(20010);
    Lines boxes = BoxTexts();
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(boxes[0], "Tessel Message: Do you want to close game plat or delete file ?(YES: "
                        "Close, NO: Delete File.)");
    EXPECT_EQ(Lines(boxes.begin() + 1, boxes.end()), row.boxes);
    EXPECT_EQ(Panel().PaneSlots[2].load(), row.closed ? 0u : GamePane);
    EXPECT_EQ(Panel().Channel.load(), row.closed ? ChannelClock : ChannelGame);
    for (const fs::path* f : {&game, &monthly, &outsider})
      EXPECT_EQ(fs::exists(*f), f != row.deleted) << *f;
    EXPECT_EQ(outside, row.deleted != nullptr ? Lines{"refresh 2"} : Lines{});
    EXPECT_EQ(PaneTraffic(), row.closed ? (Lines{"post 200 18 0", "bringToTop 100"}) : Lines{});
  }
  // On the base channel Close ends the start page for the clock, unasked.
  HeadlessInstall();
  panel = WinCreateWindow("#32770", "Tessel Skerry", PanelProc);
  Live(0, BasePane);
  Panel().Channel = ChannelClock;
  outside.clear();
  Command(20010);
  EXPECT_TRUE(HeadlessBoxes().empty());
  EXPECT_EQ(PaneTraffic(), Lines{"post 100 18 0"});
  EXPECT_EQ(outside, Lines{"launch Clock "});
}

TEST(VideoAddress, CutsListAddressAndEntry) {
  struct Row {
    std::string address;
    int result;
    std::string url;
    std::uint32_t entry;
  } rows[] = {
      {"http://video.example/Show/12", 1, "http://video.example/Show/sortlink.htm", 12},
      {"http://h/a/Show/b/7", 1, "http://h/a/Show/Show/sortlink.htm", 7},
      {"https://h/Show/list", 1, "https://h/Show/sortlink.htm", 0},
      {"HTTP://h/Show/12", -1, "", 0},
      {"http://h/show/12", -1, "", 0},
      {"http://h/Show/99999999999999999999", 1, "http://h/Show/sortlink.htm", 1661992959},
  };
  for (const Row& row : rows) {
    std::string url;
    std::uint32_t entry = 77;
    EXPECT_EQ(CutVideoAddress(row.address, &url, &entry), row.result) << row.address;
    EXPECT_EQ(url + " " + std::to_string(entry),
              row.url + " " + std::to_string(row.result == 1 ? row.entry : 77));
  }
}

TEST_F(Dispatcher, VideoSiteChannelRequestsAndRefusals) {
  Panel().Channel = ChannelHome;
  WinSetControlText(panel, AddressControl, "http://video.example/watch/12");
  Command(CommandOpenVideoSite);
  EXPECT_EQ(Panel().Channel.load(), ChannelHome) << "no page of the service";
  WinSetControlText(panel, AddressControl, "http://video.example/Show/12");
  Command(CommandOpenVideoSite);
  EXPECT_EQ(Panel().Channel.load(), ChannelVideoSite);
  Live(4, 400);
  Command(CommandOpenVideoSite); // the live Pane gives way to the new page
  EXPECT_EQ(PaneTraffic(), Lines{"post 400 18 0"});

  Command(20210);
  Command(20220); // without a phone: the message
  phoneDrive = 'E';
  Command(20220); // with one: an empty target
  WinSetControlText(panel, AddressControl, "http://video.example/watch/12");
  Command(20210);
  WinSetControlText(panel, AddressControl, "http://video.example/Show/12");
  Panel().CollectStatus.Set("Downloading 1/3");
  Panel().PhoneStatus.Set("Converting");
  Command(20210);
  Command(20220);
  const std::string launch = "launch VideoSite http://video.example/Show/12";
  const std::string collect = "collect http://video.example/Show/sortlink.htm [";
  EXPECT_EQ(outside,
            (Lines{launch, launch, "collect http://video.example/Show/sortlink.htm [Video] 12",
                   "findPhone 68", "findPhone 68", collect + "] 12", "findPhone 68"}));
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel @Vexan: Please connect mobile-phone !",
                               "Tessel @Vexan: Video link must be under @Vexan service !",
                               "Tessel @Vexan: Please wait...", "Tessel @Vexan: Please wait..."}));
}

TEST_F(Dispatcher, CollectOnGameAndHomeChannels) {
  // Both roads to the daily job read [Game] Search alike, macros expanded.
  Define("[Game]\nSearch=http://list.example/daily%Mask95%.htm\n");
  Live(2, GamePane);
  Live(5, HomePane);
  Panel().Channel = ChannelGame;
  Command(20210);
  harvestResult = 2;
  Command(20210);
  Panel().Channel = ChannelHome;
  Command(20210); // nothing on Home
  HeadlessScriptAnswers({IDNO, IDYES});
  Command(20220);
  Panel().Channel = ChannelGame;
  Command(20220);
  Panel().CollectStatus.Set("harvest");
  Panel().PhoneStatus.Set("daily");
  Command(20210);
  Command(20220);
  EXPECT_EQ(outside, (Lines{"harvest *.swf", "harvest *.swf",
                            "daily http://list.example/daily95.htm Game"}));
  const std::string ask = "Tessel @Vexan: Search a new game from internet ! Yes or no ?";
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel @Vexan: New game not found !", ask, ask,
                               "Tessel Message: Please wait...", "Tessel @Vexan: Please wait..."}));

  // The daily step of the timers starts the same job with the same text,
  // in DailyMode 2 only, once per month + day (2 Feb and 1 Mar share 4).
  outside.clear();
  static int month, day;
  SetLocalDateSource([](int* m, int* d) { *m = month, *d = day; });
  struct Step {
    int month, day, mode, tick;
    bool starts;
  } steps[] = {{3, 1, 2, 17, false},
               {3, 1, 1, 18, false},
               {3, 1, 2, 18, true},
               {2, 2, 2, 18, false},
               {3, 2, 2, 18, true}};
  for (const Step& step : steps) {
    month = step.month, day = step.day;
    Panel().DailyMode = step.mode;
    Panel().TickCount = step.tick;
    std::size_t before = outside.size();
    OnceASecondPass(panel);
    EXPECT_EQ(outside.size() - before, step.starts ? 1u : 0u) << step.month << "/" << step.day;
  }
  SetLocalDateSource(nullptr);
  EXPECT_EQ(outside.at(0), "daily http://list.example/daily95.htm Game");
}

TEST_F(Dispatcher, FirstStart) {
  const std::string list = "[Game]\nList=top.htm\n", vexan = "[@Vexan]\n";
  struct Row {
    const char* name;
    std::string define; // empty: no Define.ini at all
    char game;          // 'f' holds a file, 'e' empty, '-' missing
    int bits;
    std::string job; // the call after the start page, if any
    int dailyMode;
  } rows[] = {
      {"files in Game: no job", list, 'f', 32, "", 3},
      {"empty Game: top list", list + vexan + "Collect2=2", 'e', 32, "topList top.htm Game", 2},
      {"missing Game is made", vexan + "Collect2=1", '-', 32, "topList  Game", 1},
      {"Rotate 90 turns, centres", vexan + "Rotate=90\nCollect2=7", 'f', 32, "turn 99", 3},
      {"Rotate 90 on 8 bits stays upright", vexan + "Rotate=90", 'f', 8, "", 3},
      {"garbage", "\x01\x02garbage\n=\n[[[\nRotate=90\n[@Vexan\nCollect2=abc", 'f', 32, "", 3},
      {"a 1 MB line", vexan + "Rotate=" + std::string(1 << 20, '9'), 'f', 32, "", 3}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    fs::remove_all(dir / "Game");
    fs::remove(dir / "Define.ini");
    if (row.game != '-')
      fs::create_directories(dir / "Game" / "sub");
    if (row.game == 'f')
      std::ofstream(dir / "Game" / "a.swf") << "FWS";
    if (!row.define.empty())
      Define(row.define + "\n");
    outside.clear();
    HeadlessSetDisplayBits(row.bits);
    Panel().Channel = ChannelStart;
    Panel().DailyMode = 0;
    Command(20070, ChannelStart);
    Lines expected{"launch Start "};
    if (!row.job.empty())
      expected.push_back(row.job);
    EXPECT_EQ(outside, expected);
    EXPECT_EQ(Panel().DailyMode.load(), row.dailyMode);
    EXPECT_TRUE(fs::is_directory(dir / "Game"));
  }
}

TEST_F(Dispatcher, CommandsWhileChannelNamesNoSlotTouchNoPane) {
  for (LParam channel : {LParam{ChannelStart}, LParam{-3}, LParam{12}}) {
    SCOPED_TRACE(channel);
    for (int slot = 0; slot < PaneSlotCount; ++slot)
      Live(slot, static_cast<Hwnd>(100 + slot));
    Panel().Channel = static_cast<int>(channel);
    HeadlessClearCalls();
    outside.clear();
    for (std::uint32_t code : {20010u, 20020u, 20040u, 20050u, 20060u, 20080u, 20230u, 19000u,
                               19020u, 19900u, 20210u, 20220u})
      Command(code);
    EXPECT_TRUE(PaneTraffic().empty()) << PaneTraffic().front();
    EXPECT_TRUE(outside.empty());
    EXPECT_EQ(Panel().Channel.load(), channel);
    EXPECT_EQ(Panel().MaximizedChannel, -1);
  }
}

TEST_F(Dispatcher, HomeAndVideoFolderChannels) {
  Define("[MainWeb]\nStart=http://zh.example/\nStartEng=http://en.example/\n"
         "[Game]\nTop=http://top.example/\n[Video]\nStart=Web\\MenuVideo.htm\n");
  Panel().Channel = ChannelClock;
  Command(20120);
  LanguageOffset = 1000;
  Command(20120);
  LanguageOffset = 0;
  Command(20120, 2);
  EXPECT_EQ(Panel().Channel.load(), ChannelHome);
  Live(5, HomePane); // showing: zone 11 sends it to its first page
  Command(20120);
  Panel().Channel = ChannelClock;
  Command(20120);
  OpenVideoFolder(panel);
  EXPECT_EQ(Panel().Channel.load(), ChannelVideoFolder);
  Live(8, VideoPane);
  Command(19900);
  EXPECT_EQ(outside,
            (Lines{"launch Home http://en.example/", "launch Home http://zh.example/",
                   "launch Home http://top.example/",
                   "mediaMenu MenuVideo.htm Video *.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb",
                   "launch Video Web\\MenuVideo.htm"}));
  EXPECT_EQ(PaneTraffic(), (Lines{"post 500 273 32789", "bringToTop 500", "bringToTop 800"}));
}

TEST_F(Dispatcher, PanelWindowCommands) {
  Live(2, GamePane);
  Panel().Channel = ChannelGame;
  Command(20200);
  Command(20200);
  auto pos = HeadlessCallsOf("setWindowPos", panel);
  ASSERT_EQ(pos.size(), 2u);
  EXPECT_EQ(pos[0].after, HWND_TOPMOST);
  EXPECT_EQ(pos[1].after, HWND_NOTOPMOST);

  // Maximize fills the screen; the Pane comes back only once the Panel is
  // active again, not while it still is, right after the command.
  HeadlessSetActiveWindow(panel);
  Command(20020);
  EXPECT_EQ(Panel().MaximizedChannel, ChannelGame);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", GamePane).at(0).after, HWND_NOTOPMOST);
  auto sys = [] {
    std::vector<WParam> out;
    for (const HeadlessCall& c : HeadlessCallsOf("send", GamePane))
      if (c.message == WM_SYSCOMMAND)
        out.push_back(c.w);
    return out;
  };
  OnceASecondPass(panel);
  EXPECT_EQ(sys(), std::vector<WParam>{SC_MAXIMIZE}) << "snapped back at once";
  HeadlessSetActiveWindow(0); // the filled Pane, or another program, is active
  OnceASecondPass(panel);
  OnceASecondPass(panel);
  EXPECT_EQ(sys(), std::vector<WParam>{SC_MAXIMIZE});
  HeadlessSetActiveWindow(panel); // Alt+Tab or the tray's Open UI
  OnceASecondPass(panel);
  OnceASecondPass(panel);
  EXPECT_EQ(sys(), (std::vector<WParam>{SC_MAXIMIZE, SC_MINIMIZE}));
  EXPECT_EQ(Panel().MaximizedChannel, -1);

  Command(20190);
  Command(20030);
  EXPECT_EQ(outside, Lines{"skin"});
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_FALSE(info.visible);
}

TEST_F(Dispatcher, TrayCommands) {
  Live(0, BasePane);
  Panel().Channel = ChannelClock;
  Define("[MainWeb]\nStartEng=http://news.example/\n[Video]\nStart=http://videos.example/\n");
  setenv("XDG_PICTURES_DIR", dir.c_str(), 1);
  HeadlessScriptAnswers({IDNO});
  for (WParam id : {40002, 40003, 40001, 12345, 40004, 40005}) {
    WinPostMessage(panel, WM_COMMAND, id, 0);
    HeadlessPump();
  }
  unsetenv("XDG_PICTURES_DIR");
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: Search a new game from internet ! Yes or no ?"});
  Lines expected{"showPanel",
                 "showPanel",
                 "showPanel",
                 "showPanel",
                 "showPanel",
                 "gameMenu Menu1.htm Game *.swf,*.htm,*.html",
                 "launch Game ",
                 "launch Home http://news.example/",
                 "mediaMenu MenuVideo.htm Video *.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb",
                 "launch Video http://videos.example/",
                 "launch Image " + dir.string()};
  std::sort(outside.begin(), outside.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(outside, expected);
  EXPECT_EQ(Panel().Channel.load(), ChannelImage);
}

} // namespace
