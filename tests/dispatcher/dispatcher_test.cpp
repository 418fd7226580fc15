// The dispatcher and start-up on the headless backend: the real dialog
// procedure, recorded Pane traffic and outside calls, a temporary program
// folder per test. A second start is tested on the real program.
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "panel/dispatcher.h"
#include "panel/panel_state.h"
#include "panel/timers.h"
#include "platform/bitmap.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "shell/startup.h"
#include "tests/carrier/carrier_fixture.h"
#include "web/fetcher.h"

namespace fs = std::filesystem;

namespace {

std::vector<std::string> outside; // calls of the services, in order
int phoneDrive = 0;
int harvestResult = 0;

template <typename... Words> void Rec(const Words&... words) {
  std::string line;
  ((line += (line.empty() ? "" : " ") + std::string(words)), ...);
  outside.push_back(line);
}
std::vector<char*> Argv(std::vector<std::string>& args) {
  std::vector<char*> argv;
  for (std::string& a : args)
    argv.push_back(a.data());
  argv.push_back(nullptr);
  return argv;
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
  s.rebuildGameMenu = [](auto... a) { return Rec("gameMenu", Leaf(a)...), 0; };
  s.rebuildMediaMenu = [](auto... a) { return Rec("mediaMenu", Leaf(a)...), 0; };
  s.startTopListJob = [](Hwnd, auto list, auto f) { Rec("topList", Text(list), Leaf(f)); };
  s.startDailyJob = [](Hwnd, auto list, auto f) { Rec("daily", Text(list), Leaf(f)); };
  s.harvestCache = [](const char*, const char* p) { return Rec("harvest", p), harvestResult; };
  s.findPhoneDrive = [](int l, char*) { return Rec("findPhone", std::to_string(l)), phoneDrive; };
  s.collectVideo = [](Hwnd, const char* url, const char* f, std::uint32_t entry) {
    return Rec("collect", Text(url), "[" + Leaf(f) + "]", std::to_string(entry)), 0;
  };
  s.refreshGamePane = [](int mode) { Rec("refresh", std::to_string(mode)); };
  s.turnPanel = [](Hwnd, LParam arg) { Rec("turn", std::to_string(arg)); };
  s.unturnPanel = [](Hwnd, LParam arg) { Rec("unturn", std::to_string(arg)); };
  s.changeSkin = [](Hwnd) { Rec("skin"); };
  s.showPanel = [](Hwnd) { Rec("showPanel"); };
  return s;
}();

constexpr Hwnd BasePane = 100, GamePane = 200, ImagePane = 300, HomePane = 500;

class Dispatcher : public ::testing::Test {
 protected:
  void SetUp() override {
    Prepare();
    NewPanel();
  }

  void Prepare() {
    fs::create_directories(dir / "Video");
    fs::create_directories(dir / "Game");
    SetModulePathForTests((dir / "skerry").string());
    LanguageOffset = 0;
    SetDispatcherServices(&recording);
    outside.clear();
    phoneDrive = harvestResult = 0;
    HeadlessInstall();
    ResetPanelState(Panel());
  }

  void NewPanel() { // a fresh Panel, nothing recorded yet
    outside.clear();
    HeadlessInstall();
    ResetPanelState(Panel());
    panel = WinCreateWindow("#32770", "Tessel Skerry", PanelProc);
    Panel().PanelWindow = panel;
  }

  void TearDown() override {
    EXPECT_EQ(HeadlessUnscriptedQuestions(), 0);
    SetDispatcherServices(nullptr);
    SetModulePathForTests("");
  }

  void Define(const std::string& text) { std::ofstream(dir / "Define.ini") << text; }

  void Live(int slot, Hwnd pane) {
    Panel().PaneSlots[static_cast<std::size_t>(slot)] = pane;
    HeadlessSetPaneLive(pane, true);
  }

  void Command(std::uint32_t code, LParam arg = 0, unsigned message = MsgPanelCommand) {
    WinPostMessage(panel, message, code, arg);
    HeadlessPump();
  }

  static std::vector<std::string> PaneTraffic() { // "post 200 273 32787"
    std::vector<std::string> out;
    for (const HeadlessCall& c : HeadlessCalls())
      if (IsPaneHandle(c.window))
        out.push_back(c.op + " " + std::to_string(c.window) +
                      (c.op == "post" || c.op == "send"
                           ? " " + std::to_string(c.message) + " " + std::to_string(c.w)
                           : ""));
    return out;
  }

  static std::vector<std::string> BoxTexts() {
    std::vector<std::string> out;
    for (const HeadlessBox& b : HeadlessBoxes())
      out.push_back(b.title + ": " + b.text);
    return out;
  }

  TempFolder folder{"skerry-dispatch"};
  fs::path dir = folder.path;
  Hwnd panel = 0;
};

using Lines = std::vector<std::string>;

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
  const fs::path game = dir / "Game/Some Game.swf", monthly = dir / "Game/2026-11/Daily.swf",
                 outsider = dir / "Other.swf", climb = dir / "Game/2026-11/../../Other.swf";
  const std::string none = "Tessel Message: Number not found, select again.";
  auto del = [](const fs::path& f) { return "Tessel Message: Delete File :\n" + f.string(); };
  // clang-format off
  struct Row { std::vector<int> answers; std::string address; Lines boxes; bool closed; const fs::path* deleted; } rows[] = {
      {{IDCANCEL}, game.string(), {}, false, nullptr},
      {{IDYES}, game.string(), {}, true, nullptr},
      {{IDNO}, "http://example.com/game.htm", {none}, false, nullptr},
      {{IDNO, IDYES}, game.string(), {del(game)}, false, &game},
      {{IDNO, IDYES}, monthly.string(), {del(monthly)}, false, &monthly},
      {{IDNO}, climb.string(), {none}, false, nullptr}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.address + " answered " + std::to_string(row.answers.back()));
    for (const fs::path& f : {game, monthly, outsider})
      std::ofstream(f) << "FWS";
    NewPanel();
    Live(0, BasePane);
    Live(2, GamePane);
    Panel().Channel = ChannelGame;
    WinSetControlText(panel, AddressControl, row.address);
    HeadlessScriptAnswers(row.answers);
    Command(20010);
    Lines boxes = BoxTexts();
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(Lines(boxes.begin() + 1, boxes.end()), row.boxes);
    EXPECT_EQ(Panel().Channel.load(), row.closed ? ChannelClock : ChannelGame);
    for (const fs::path* f : {&game, &monthly, &outsider})
      EXPECT_EQ(fs::exists(*f), f != row.deleted) << *f;
    EXPECT_EQ(outside, row.deleted != nullptr ? Lines{"refresh 2"} : Lines{});
    EXPECT_EQ(PaneTraffic(), row.closed ? (Lines{"post 200 18 0", "bringToTop 100"}) : Lines{});
  }
}

TEST(VideoAddress, CutsListAddressAndEntry) {
  struct Row {
    std::string address, cut; // cut: "" when refused
  } rows[] = {{"http://h/a/Show/b/7", "http://h/a/Show/Show/sortlink.htm 7"},
              {"https://h/Show/list", "https://h/Show/sortlink.htm 0"},
              {"http://h/show/12", ""},
              {"http://h/Show/99999999999999999999", "http://h/Show/sortlink.htm 1661992959"}};
  for (const Row& row : rows) {
    std::string url;
    std::uint32_t entry = 77;
    EXPECT_EQ(CutVideoAddress(row.address, &url, &entry), row.cut.empty() ? -1 : 1) << row.address;
    EXPECT_EQ(url + " " + std::to_string(entry), row.cut.empty() ? " 77" : row.cut);
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
  const std::string launch = "launch VideoSite http://video.example/Show/12";
  const std::string collect = "collect http://video.example/Show/sortlink.htm [";
  EXPECT_EQ(outside, (Lines{launch, launch, collect + "Video] 12", "findPhone 68", "findPhone 68",
                            collect + "] 12"}));
  EXPECT_EQ(BoxTexts(), (Lines{"Tessel @Vexan: Please connect mobile-phone !",
                               "Tessel @Vexan: Video link must be under @Vexan service !"}));
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
  // clang-format off
  struct Step { int month, day, mode, tick; bool starts; } steps[] = {
      {3, 1, 2, 17, false}, {3, 1, 1, 18, false}, {3, 1, 2, 18, true}, {2, 2, 2, 18, false}, {3, 2, 2, 18, true}};
  // clang-format on
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
  // game: 'f' holds a file, 'e' empty, '-' missing; job: the call after the start page
  // clang-format off
  struct Row { std::string define; char game; int bits; std::string job; int dailyMode; } rows[] = {
      {list, 'f', 32, "", 3},
      {list + vexan + "Collect2=2", 'e', 32, "topList top.htm Game", 2},
      {vexan + "Collect2=1", '-', 32, "", 1}, // no list: no question
      {vexan + "Rotate=90\nCollect2=7", 'f', 32, "turn 99", 3},
      {vexan + "Rotate=90", 'f', 8, "", 3}, // 8 bits stay upright
      {"\x01\x02garbage\n=\n[[[\nRotate=90\n[@Vexan\nCollect2=abc", 'f', 32, "", 3},
      {vexan + "Rotate=" + std::string(1 << 20, '9'), 'f', 32, "", 3}};
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.define.substr(0, 40));
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

TEST_F(Dispatcher, HomeVideoAndTrayLaunches) {
  Define("[MainWeb]\nStart=http://zh.example/\nStartEng=http://en.example/\n"
         "[Game]\nTop=http://top.example/\n[Video]\nStart=Web\\MenuVideo.htm\n");
  Live(0, BasePane);
  Panel().Channel = ChannelClock;
  setenv("XDG_PICTURES_DIR", dir.c_str(), 1);
  HeadlessScriptAnswers({IDNO});
  for (std::uint32_t id : {40002, 40003, 40001, 12345, 40004, 40005})
    Command(id, 0, WM_COMMAND);
  unsetenv("XDG_PICTURES_DIR");
  EXPECT_EQ(BoxTexts(), Lines{"Tessel @Vexan: Search a new game from internet ! Yes or no ?"});
  Lines expected{"gameMenu Menu1.htm Game *.swf,*.htm,*.html",
                 "launch Game ",
                 "launch Home http://en.example/",
                 "launch Image " + dir.string(),
                 "launch Video Web\\MenuVideo.htm",
                 "mediaMenu MenuVideo.htm Video *.flv,*.mpg,*.wmv,*.avi,*.mov,*.mp4,*.rm,*.rmvb"};
  expected.insert(expected.end(), 5, "showPanel");
  std::sort(outside.begin(), outside.end());
  EXPECT_EQ(outside, expected);
  EXPECT_EQ(Panel().Channel.load(), ChannelImage);

  NewPanel();
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
  Command(20120); // the live Pane comes up, not launched again
  EXPECT_EQ(outside, (Lines{"launch Home http://en.example/", "launch Home http://zh.example/",
                            "launch Home http://top.example/"}));
  EXPECT_EQ(PaneTraffic(), (Lines{"post 500 273 32789", "bringToTop 500"}));

  Define("[MainWeb]\nStartEng=http://en.example/\n[Game]\nTop=\n"); // no top page
  NewPanel();
  Command(20120, 2);
  EXPECT_EQ(outside, Lines{"launch Home http://en.example/"});
}

TEST_F(Dispatcher, PanelWindowCommands) {
  Live(2, GamePane);
  Panel().Channel = ChannelGame;
  Command(20200);
  Command(20200);
  EXPECT_EQ(HeadlessCallsOf("setWindowPos", panel).at(1).after, HWND_NOTOPMOST);

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
  struct Row {
    Hwnd active;
    int passes;
    std::vector<WParam> commands;        // the Pane's window commands so far
  } rows[] = {{panel, 1, {SC_MAXIMIZE}}, // right after the command: not snapped back
              {0, 2, {SC_MAXIMIZE}},     // the filled Pane, or another program, is active
              {panel, 2, {SC_MAXIMIZE, SC_MINIMIZE}}}; // Alt+Tab or the tray's Open UI
  for (const Row& row : rows) {
    HeadlessSetActiveWindow(row.active);
    for (int pass = 0; pass < row.passes; ++pass)
      OnceASecondPass(panel);
    EXPECT_EQ(sys(), row.commands) << row.active;
  }
  EXPECT_EQ(Panel().MaximizedChannel, -1);

  Command(20190);
  Command(20030);
  EXPECT_EQ(outside, Lines{"skin"});
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_FALSE(info.visible);
}

// The program's own start on the recording services, its carrier socket in
// the program folder's run/.
class Startup : public Dispatcher {
 protected:
  void SetUp() override {
    Prepare();
    setenv("XDG_RUNTIME_DIR", (dir / "run").c_str(), 1);
    setenv("SKERRY_SYSTEM_DIR", (dir / "system").c_str(), 1);
    setenv("LC_ALL", "C", 1);
  }

  void TearDown() override {
    CarrierClose();
    unsetenv("LC_ALL");
    Dispatcher::TearDown();
  }

  static int Main(std::vector<std::string> args) {
    return SkerryMain(static_cast<int>(args.size()), Argv(args).data());
  }
};

TEST(StartupText, TopSwitchAndLanguage) {
  const std::pair<std::vector<std::string>, bool> switches[] = {{{"skerry", "/Top"}, true},
                                                                {{"skerry", "/Top", "x"}, false},
                                                                {{"skerry", "/Topmost"}, false}};
  for (auto [args, top] : switches)
    EXPECT_EQ(IsTopSwitch(CommandLineText(static_cast<int>(args.size()), Argv(args).data())), top)
        << args[1];
  // The locale's language is read by LanguageFromLocale, tested with the paths.
  for (auto [language, offset] : {std::pair(1000, 1000), std::pair(2000, 0), std::pair(0, 0)})
    EXPECT_EQ(LanguageOffsetFrom(language), offset) << language;
}

TEST_F(Startup, TopModeShowsItsCountAndMakesNoPanel) {
  Define("[Game]\nList=\n");
  SetWebSleepForTests([](unsigned) {});
  HeadlessScriptAnswers({IDYES});
  EXPECT_EQ(Main({"skerry", "/TOP"}), 0);
  SetWebSleepForTests(nullptr);
  EXPECT_EQ(BoxTexts().at(2), "Tessel @Vexan: Got 0 games from top list.");
  EXPECT_EQ(HeadlessFindClass("#32770"), 0u);
  EXPECT_FALSE(fs::exists(CarrierSocketPath()));
  EXPECT_EQ(outside, Lines{});
}

TEST_F(Startup, MissingSkinSaysSoAndEndsCleanly) {
  EXPECT_EQ(Main({"skerry"}), 0);
  EXPECT_EQ(BoxTexts(), Lines{"Tessel Message: Bitmap file not found, Please re-install !"});
  EXPECT_EQ(outside, Lines{});
  // The hidden window was told, and its quit message ended the loop.
  EXPECT_EQ(HeadlessCallsOf("send", MessageWindow).at(0).message, WM_DESTROY);
  EXPECT_FALSE(HeadlessQuitPending());
}

TEST_F(Startup, PanelStartsWithTheLowSkinAndLaunchesTheStartPage) {
  Bitmap skin; // the low skin only, of any size
  skin.Width = skin.Height = 4, skin.BitsPerPixel = 24;
  skin.Bits.assign(static_cast<std::size_t>(skin.RowLength() * skin.Height), 0x66);
  ASSERT_TRUE(SaveBitmapFile((dir / "@VEXANL.BMP").string(), skin));
  Main({"skerry"}); // the headless loop gives back once nothing is left to do

  panel = Panel().PanelWindow.load();
  HeadlessWindow info;
  ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
  EXPECT_TRUE(info.visible);
  EXPECT_EQ(info.timers, std::vector<int>{2});
  EXPECT_EQ(outside, Lines{"launch Start "});
  EXPECT_TRUE(HeadlessBoxes().empty() && PanelListening());

  // The exit question: No changes nothing; Yes ends by the hidden window.
  for (auto [answer, command] : {std::pair(IDNO, 2), std::pair(IDYES, 214)}) {
    HeadlessScriptAnswers({answer});
    Command(command, 0, WM_COMMAND);
    ASSERT_TRUE(HeadlessWindowInfo(panel, &info));
    EXPECT_EQ(info.dialogEnded, answer == IDYES);
    EXPECT_EQ(HeadlessQuitPending(), answer == IDYES);
  }
  EXPECT_EQ(BoxTexts(), Lines(2, "Tessel Skerry: Do you want to exit Tessel Skerry ?"));
  EXPECT_EQ(WinMessageLoop(), 0);
}

TEST(StatusLine, CutsToFitAndSurvivesConcurrentWriters) {
  StatusLine line;
  EXPECT_TRUE(line.Empty());
  line.Set(std::string(1000, 'x'));
  EXPECT_EQ(line.Get().size(), StatusLine::Size - 1);

  std::thread a([&] {
    for (int i = 0; i < 2000; ++i)
      line.Set("Downloading game " + std::to_string(i));
  });
  std::thread b([&] {
    for (int i = 0; i < 2000; ++i) {
      std::string s = line.Get();
      EXPECT_TRUE(s.empty() || s.rfind("Downloading", 0) == 0 || s[0] == 'x');
    }
  });
  a.join();
  b.join();
  line.Clear();
  EXPECT_TRUE(line.Empty());
}

} // namespace
