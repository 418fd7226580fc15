// The dispatcher on the headless backend: the real dialog procedure, recorded
// Pane traffic and outside calls, a temporary program folder per test.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "panel/dispatcher.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> outside; // calls of the services, in order
int phoneDrive = 0;
int harvestResult = 0;

std::string Text(const char* s) {
  return s != nullptr ? s : "(null)";
}
std::string Leaf(const char* p) {
  return fs::path(p).filename().string();
}
void Rec(const std::string& line) {
  outside.push_back(line);
}

const DispatcherServices recording = [] {
  DispatcherServices s{};
  s.launchPane = [](PaneRow row, const char* address) {
    static const char* rows[] = {"Start", "Clock", "Game", "Home", "Video", "VideoSite", "Image"};
    Rec(std::string("launch ") + rows[row] + " " + Text(address));
  };
  s.rebuildGameMenu = [](const char* menu, const char* folder, const char* patterns) {
    Rec("gameMenu " + Leaf(menu) + " " + Leaf(folder) + " " + patterns);
    return 0;
  };
  s.rebuildMediaMenu = [](const char* menu, const char* folder, const char* patterns) {
    Rec("mediaMenu " + Leaf(menu) + " " + Leaf(folder) + " " + patterns);
    return 0;
  };
  s.startTopListJob = [](Hwnd, const char* list, const char* f) {
    Rec("topList " + Text(list) + " " + Leaf(f));
  };
  s.startDailyJob = [](Hwnd, const char* list, const char* f) {
    Rec("daily " + Text(list) + " " + Leaf(f));
  };
  s.harvestCache = [](const char*, const char* patterns) {
    Rec(std::string("harvest ") + patterns);
    return harvestResult;
  };
  s.findPhoneDrive = [](int letter, char*) {
    Rec("findPhone " + std::to_string(letter));
    return phoneDrive;
  };
  s.collectVideo = [](Hwnd, const char* url, const char* f, std::uint32_t entry) {
    Rec("collect " + Text(url) + " [" + Leaf(f) + "] " + std::to_string(entry));
    return 0;
  };
  s.refreshGamePane = [](int mode) { Rec("refresh " + std::to_string(mode)); };
  s.turnPanel = [](Hwnd, LParam arg) { Rec("turn " + std::to_string(arg)); };
  s.unturnPanel = [](Hwnd, LParam arg) { Rec("unturn " + std::to_string(arg)); };
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
    const char* name;
    std::uint32_t code;
    int channel;
    std::uint32_t expected;
  } rows[] = {
      {"zone 7 reloads", 20080, 0, 20060},
      {"zone 7 pauses the image player", 20080, ChannelImage, 19000},
      {"zone 8 pages back", 20090, 2, 20050},
      {"zone 9 opens the game channel, not back", 20100, 0, 20090},
      {"zone 10 pages forward", 20110, 5, 20040},
      {"a handler code stays", 20050, 0, 20050},
      {"a worker code stays", 19030, 2, 19030},
  };
  for (const Row& row : rows)
    EXPECT_EQ(RemapCode(row.code, row.channel), row.expected) << row.name;
}

TEST_F(Dispatcher, Zone9OpensGameAndPostedCodesAreRemappedOnce) {
  Panel().Channel = 0;
  Live(0, BasePane);
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().HoverCode, 20090u);
  EXPECT_EQ(outside, (Lines{"gameMenu Menu1.htm Game *.swf,*.htm,*.html", "launch Game "}));

  // A posted 20090 is zone 8: back in the current Pane, no launch.
  outside.clear();
  Live(2, GamePane);
  HeadlessClearCalls();
  Command(20090);
  EXPECT_EQ(PaneTraffic(), Lines{"post 200 273 32787"});
  EXPECT_TRUE(outside.empty());
}

TEST_F(Dispatcher, Zone9TwiceShowsBaseThriceBringsGameBackWithoutLaunch) {
  Panel().Channel = 0;
  Live(0, BasePane);
  Command(20100);
  Live(2, GamePane); // the game Pane announced itself
  outside.clear();
  HeadlessClearCalls();

  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelClock);
  EXPECT_EQ(Panel().PreviousChannel, ChannelGame);
  EXPECT_EQ(PaneTraffic(), Lines{"bringToTop 100"});

  HeadlessClearCalls();
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().PreviousChannel, ChannelClock);
  EXPECT_EQ(PaneTraffic(), Lines{"bringToTop 200"});
  EXPECT_TRUE(outside.empty()) << outside.front();

  // Without a live base Pane the second press leaves the game channel as is.
  HeadlessSetPaneLive(BasePane, false);
  HeadlessClearCalls();
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().PreviousChannel, ChannelGame);
  EXPECT_TRUE(PaneTraffic().empty());
}

TEST_F(Dispatcher, Zone7PausesOnlyOnTheImageChannel) {
  Live(0, BasePane);
  Live(1, ImagePane);
  Panel().Channel = ChannelImage;
  Command(20080);
  Panel().Channel = ChannelClock;
  Command(20080);
  // Forward, back, reload and mute take the image player's own codes on 1.
  Panel().Channel = ChannelImage;
  for (std::uint32_t code : {20040u, 20050u, 20060u, 20230u})
    Command(code);
  Panel().Channel = ChannelClock;
  for (std::uint32_t code : {20040u, 20050u, 20060u, 20230u})
    Command(code);
  EXPECT_EQ(PaneTraffic(), (Lines{"post 300 273 32777", "post 100 273 32779", "post 300 273 57680",
                                  "post 300 273 57681", "post 300 273 32781", "post 300 273 32805",
                                  "post 100 273 32788", "post 100 273 32787", "post 100 273 32779",
                                  "send 100 273 32805"}));
}

TEST_F(Dispatcher, CloseCurrentAsksOnTheGameChannel) {
  fs::path game = dir / "Game" / "Some Game.swf";
  fs::path outsider = dir / "Other.swf";
  const std::string notFound = "Tessel Message: Number not found, select again.";
  const std::string climb = (dir / "Game/../Other.swf").string();
  const std::string del = "Tessel Message: Delete File :\n" + game.string();
  struct Row {
    const char* name;
    std::vector<int> answers;
    std::string address;
    Lines boxes;
    bool closed;
    bool deleted;
  } rows[] = {
      {"cancel does nothing", {IDCANCEL}, game.string(), {}, false, false},
      {"yes closes the game Pane", {IDYES}, game.string(), {}, true, false},
      {"no with a short address", {IDNO}, "/a.swf", {notFound}, false, false},
      {"no with a page address", {IDNO}, "http://example.com/game.htm", {notFound}, false, false},
      {"no, then yes deletes the file", {IDNO, IDYES}, game.string(), {del}, false, true},
      {"no, then no keeps the file", {IDNO, IDNO}, game.string(), {del}, false, false},
      {"file outside Game: never deleted", {IDNO}, outsider.string(), {notFound}, false, false},
      {"climbing out of Game", {IDNO}, climb, {notFound}, false, false}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::ofstream(game) << "FWS";
    std::ofstream(outsider) << "FWS";
    outside.clear();
    HeadlessInstall();
    panel = WinCreateWindow("#32770", "Tessel Skerry", PanelProc);
    Panel().PanelWindow = panel;
    Live(0, BasePane);
    Live(2, GamePane);
    Panel().Channel = ChannelGame;
    Panel().PreviousChannel = ChannelClock;
    WinSetControlText(panel, AddressControl, row.address);
    HeadlessScriptAnswers(row.answers);

    Command(20010);

    Lines boxes = BoxTexts();
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(HeadlessBoxes()[0].type, MB_YESNOCANCEL);
    EXPECT_EQ(boxes[0], "Tessel Message: Do you want to close game plat or delete file ?(YES: "
                        "Close, NO: Delete File.)");
    EXPECT_EQ(Lines(boxes.begin() + 1, boxes.end()), row.boxes);
    EXPECT_EQ(Panel().PaneSlots[2].load(), row.closed ? 0u : GamePane);
    EXPECT_EQ(Panel().Channel.load(), row.closed ? ChannelClock : ChannelGame);
    EXPECT_EQ(Panel().PreviousChannel, ChannelClock);
    EXPECT_EQ(fs::exists(game), !row.deleted);
    EXPECT_TRUE(fs::exists(outsider));
    EXPECT_EQ(outside, row.deleted ? Lines{"refresh 2"} : Lines{});
    if (row.closed) {
      EXPECT_EQ(PaneTraffic(), (Lines{"post 200 18 0", "bringToTop 100"}));
    }
  }
}

TEST_F(Dispatcher, CloseOnTheBaseChannelEndsTheStartPageForTheClock) {
  Live(0, BasePane);
  Panel().Channel = ChannelClock;
  Command(20010);
  EXPECT_TRUE(HeadlessBoxes().empty());
  EXPECT_EQ(Panel().PaneSlots[0].load(), 0u);
  EXPECT_EQ(Panel().Channel.load(), ChannelClock);
  EXPECT_EQ(PaneTraffic(), Lines{"post 100 18 0"});
  EXPECT_EQ(outside, Lines{"launch Clock "});
}

TEST(VideoAddress, CutsListAddressAndEntry) {
  struct Row {
    const char* name;
    std::string address;
    int result;
    std::string url;
    std::uint32_t entry;
  } rows[] = {
      {"entry of a list", "http://video.example/Show/12", 1,
       "http://video.example/Show/sortlink.htm", 12},
      {"only the last two segments go", "http://h/a/Show/b/7", 1,
       "http://h/a/Show/Show/sortlink.htm", 7},
      {"no number is the whole list", "http://h/Show/list", 1, "http://h/Show/sortlink.htm", 0},
      {"https is the service too", "https://h/Show/12", 1, "https://h/Show/sortlink.htm", 12},
      {"case of the scheme counts", "HTTP://h/Show/12", -1, "", 0},
      {"no Show", "http://h/show/12", -1, "", 0},
      {"empty", "", -1, "", 0},
      {"overlong number wraps, never overflows", "http://h/Show/99999999999999999999", 1,
       "http://h/Show/sortlink.htm", 1661992959},
  };
  for (const Row& row : rows) {
    std::string url = "unchanged";
    std::uint32_t entry = 77;
    EXPECT_EQ(CutVideoAddress(row.address, &url, &entry), row.result) << row.name;
    if (row.result == 1) {
      EXPECT_EQ(url, row.url) << row.name;
      EXPECT_EQ(entry, row.entry) << row.name;
    }
  }
  // A cut address that would pass 511 characters is refused.
  std::string url;
  std::uint32_t entry = 0;
  std::string longest = "http://Show" + std::string(240, 'a') + "/x/1";
  EXPECT_EQ(CutVideoAddress(longest, &url, &entry), 1);
  EXPECT_LE(url.size(), 511u);
}

TEST_F(Dispatcher, VideoRequestsAndTheirRefusals) {
  Live(4, 400);
  Panel().Channel = ChannelVideoSite;
  WinSetControlText(panel, AddressControl, "http://video.example/Show/12");
  Command(20210);
  EXPECT_EQ(outside, Lines{"collect http://video.example/Show/sortlink.htm [Video] 12"});

  // Zone 21 without a phone: the message, nothing started.
  outside.clear();
  Command(20220);
  EXPECT_EQ(outside, Lines{"findPhone 68"});
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: Please connect mobile-phone !"});

  // With a phone the request goes with an empty target.
  outside.clear();
  HeadlessClearCalls();
  phoneDrive = 'E';
  Command(20220);
  EXPECT_EQ(outside,
            (Lines{"findPhone 68", "collect http://video.example/Show/sortlink.htm [] 12"}));

  // An address that isn't the service's is refused before any dialog.
  outside.clear();
  WinSetControlText(panel, AddressControl, "http://video.example/watch/12");
  Command(20210);
  EXPECT_TRUE(outside.empty());
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: Video link must be under @Vexan service !"});

  // Busy status lines say "Please wait..." and start nothing.
  HeadlessClearCalls();
  WinSetControlText(panel, AddressControl, "http://video.example/Show/12");
  Panel().CollectStatus.Set("Downloading 1/3");
  Panel().PhoneStatus.Set("Converting");
  Command(20210);
  Command(20220);
  EXPECT_EQ(outside, Lines{"findPhone 68"});
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel @Vexan: Please wait...", "Tessel @Vexan: Please wait..."}));
}

TEST_F(Dispatcher, ServicePageHandedOverOpensTheVideoSiteChannel) {
  Panel().Channel = ChannelHome;
  WinSetControlText(panel, AddressControl, "http://video.example/watch/12");
  Command(CommandOpenVideoSite);
  EXPECT_TRUE(outside.empty()) << "no page of the service";
  EXPECT_EQ(Panel().Channel.load(), ChannelHome);

  WinSetControlText(panel, AddressControl, "https://video.example/Show/12");
  Command(CommandOpenVideoSite);
  EXPECT_EQ(outside, Lines{"launch VideoSite https://video.example/Show/12"});
  EXPECT_EQ(Panel().Channel.load(), ChannelVideoSite);
  EXPECT_EQ(Panel().PreviousChannel, ChannelHome);

  // The live Pane of the channel ends; the new page takes its slot.
  outside.clear();
  Live(4, 400);
  Command(CommandOpenVideoSite);
  EXPECT_EQ(PaneTraffic(), Lines{"post 400 18 0"});
  EXPECT_EQ(outside, Lines{"launch VideoSite https://video.example/Show/12"});
}

TEST_F(Dispatcher, CollectOnGameAndHomeChannels) {
  Define("[Game]\nSearch=http://list.example/daily.htm\n");
  Live(2, GamePane);
  Live(5, HomePane);

  Panel().Channel = ChannelGame;
  Command(20210);
  EXPECT_EQ(outside, Lines{"harvest *.swf"});
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: New game not found !"});

  outside.clear();
  HeadlessClearCalls();
  harvestResult = 2;
  Command(20210);
  EXPECT_EQ(outside, Lines{"harvest *.swf"});
  EXPECT_TRUE(HeadlessBoxes().empty());

  // Zone 20 on the Home channel does nothing; zone 21 asks on both.
  outside.clear();
  Panel().Channel = ChannelHome;
  Command(20210);
  EXPECT_TRUE(outside.empty());
  HeadlessScriptAnswers({IDNO, IDYES});
  Command(20220);
  Panel().Channel = ChannelGame;
  Command(20220);
  EXPECT_EQ(outside, Lines{"daily http://list.example/daily.htm Game"});
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel @Vexan: Search a new game from internet ! Yes or no ?",
                               "Tessel @Vexan: Search a new game from internet ! Yes or no ?"}));

  HeadlessClearCalls();
  outside.clear();
  Panel().CollectStatus.Set("harvest");
  Panel().PhoneStatus.Set("daily");
  Command(20210);
  Command(20220);
  EXPECT_TRUE(outside.empty());
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel Message: Please wait...", "Tessel @Vexan: Please wait..."}));
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
      {"Rotate garbage stays upright", vexan + "Rotate=ninety", 'f', 32, "", 3},
      {"no Define.ini", "", '-', 32, "topList  Game", 3},
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
    EXPECT_EQ(Panel().Channel.load(), ChannelStart);
  }
}

TEST_F(Dispatcher, CommandsWhileChannelNamesNoSlotTouchNoPane) {
  for (LParam channel : {LParam{ChannelStart}, LParam{-3}, LParam{12}}) {
    SCOPED_TRACE(channel);
    Live(0, BasePane);
    for (int slot = 1; slot < PaneSlotCount; ++slot)
      Live(slot, static_cast<Hwnd>(100 + slot));
    Panel().Channel = static_cast<int>(channel);
    int before = Panel().Channel.load();
    HeadlessClearCalls();
    outside.clear();
    for (std::uint32_t code : {20010u, 20020u, 20040u, 20050u, 20060u, 20080u, 20230u, 19000u,
                               19020u, 19900u, 20210u, 20220u})
      Command(code);
    EXPECT_TRUE(PaneTraffic().empty()) << PaneTraffic().front();
    EXPECT_TRUE(outside.empty());
    EXPECT_EQ(Panel().Channel.load(), before);
    EXPECT_EQ(Panel().MaximizedChannel, -1);
    for (int slot = 0; slot < PaneSlotCount; ++slot)
      EXPECT_NE(Panel().PaneSlots[static_cast<std::size_t>(slot)].load(), 0u);
  }
  // The first Pane's command goes on normally: the game channel opens.
  Panel().Channel = ChannelStart;
  HeadlessSetPaneLive(GamePane, false);
  Panel().PaneSlots[2] = 0;
  Command(20100);
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);
  EXPECT_EQ(Panel().PreviousChannel, ChannelStart);
}

TEST_F(Dispatcher, HomeChannel) {
  Define("[MainWeb]\nStart=http://zh.example/\nStartEng=http://en.example/\n"
         "[Game]\nTop=http://top.example/\n");
  Panel().Channel = ChannelClock;
  Command(20120);
  LanguageOffset = 1000;
  Command(20120);
  LanguageOffset = 0;
  Command(20120, 2);
  EXPECT_EQ(outside, (Lines{"launch Home http://en.example/", "launch Home http://zh.example/",
                            "launch Home http://top.example/"}));
  EXPECT_EQ(Panel().Channel.load(), ChannelHome);

  // With the Home Pane showing, zone 11 sends it to its first page.
  outside.clear();
  Live(5, HomePane);
  Command(20120);
  Panel().Channel = ChannelClock;
  Command(20120);
  EXPECT_TRUE(outside.empty());
  EXPECT_EQ(PaneTraffic(), (Lines{"post 500 273 32789", "bringToTop 500"}));
}

TEST_F(Dispatcher, VideoFolderAnd19900) {
  Define("[Video]\nStart=Web\\MenuVideo.htm\n");
  Panel().Channel = ChannelClock;
  OpenVideoFolder(panel);
  EXPECT_EQ(Panel().Channel.load(), ChannelVideoFolder);
  EXPECT_EQ(outside,
            (Lines{"mediaMenu MenuVideo.htm Video *.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb",
                   "launch Video Web\\MenuVideo.htm"}));
  outside.clear();
  Live(8, VideoPane);
  Command(19900);
  OpenVideoFolder(panel);
  EXPECT_TRUE(outside.empty());
  EXPECT_EQ(PaneTraffic(), (Lines{"bringToTop 800", "bringToTop 800"}));
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
  EXPECT_EQ(Panel().TopmostFlag, 0);

  Command(20020);
  EXPECT_EQ(Panel().MaximizedChannel, ChannelGame);
  auto sends = HeadlessCallsOf("send", GamePane);
  ASSERT_EQ(sends.size(), 1u);
  EXPECT_EQ(sends[0].message, WM_SYSCOMMAND);
  EXPECT_EQ(sends[0].w, SC_MAXIMIZE);
  ASSERT_EQ(HeadlessCallsOf("setWindowPos", GamePane).size(), 1u);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", GamePane)[0].after, HWND_NOTOPMOST);

  Command(20190);
  Command(20030);
  EXPECT_EQ(outside, Lines{"skin"});
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_FALSE(info.visible);

  // The drag timer stops on every command and on a button-up outside zones.
  WinSetTimer(panel, 1, 50);
  Panel().HoverCode = 0;
  WinPostMessage(panel, WM_LBUTTONUP, 0, 0);
  HeadlessPump();
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_TRUE(info.timers.empty());
  EXPECT_EQ(outside, Lines{"skin"});
}

TEST_F(Dispatcher, TrayCommands) {
  Live(0, BasePane);
  Panel().Channel = ChannelClock;
  Define("[MainWeb]\nStartEng=http://news.example/\n");
  HeadlessScriptAnswers({IDNO});
  WinPostMessage(panel, WM_COMMAND, 40002, 0);
  HeadlessPump();
  EXPECT_EQ(outside,
            (Lines{"showPanel", "gameMenu Menu1.htm Game *.swf,*.htm,*.html", "launch Game "}));
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: Search a new game from internet ! Yes or no ?"});
  EXPECT_EQ(Panel().Channel.load(), ChannelGame);

  outside.clear();
  WinPostMessage(panel, WM_COMMAND, 40003, 0);
  WinPostMessage(panel, WM_COMMAND, 40001, 0);
  WinPostMessage(panel, WM_COMMAND, 12345, 0);
  HeadlessPump();
  EXPECT_EQ(outside, (Lines{"showPanel", "showPanel", "launch Home http://news.example/"}));

  // The video folder and the image player, which no button opens.
  outside.clear();
  setenv("XDG_PICTURES_DIR", dir.c_str(), 1);
  Define("[Video]\nStart=http://videos.example/\n");
  WinPostMessage(panel, WM_COMMAND, 40004, 0);
  WinPostMessage(panel, WM_COMMAND, 40005, 0);
  HeadlessPump();
  unsetenv("XDG_PICTURES_DIR");
  ASSERT_EQ(outside.size(), 5u);
  EXPECT_EQ(outside[0], "showPanel");
  EXPECT_EQ(outside[2], "launch Video http://videos.example/");
  EXPECT_EQ(outside[3], "showPanel");
  EXPECT_EQ(outside[4], "launch Image " + dir.string());
  EXPECT_EQ(Panel().Channel.load(), ChannelImage);
  EXPECT_EQ(Panel().PreviousChannel, ChannelVideoFolder);
}

} // namespace
