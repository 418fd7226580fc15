// Pane hosting with real child processes: the stand-in browser program lies
// as Lumbrel.dll in a program folder whose path has blanks, is launched by
// LaunchPane, reaches the carrier of this test and announces itself; the
// test services the carrier and plays the Panel's part by passing the
// announcements and 1034 to PaneMessage.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "panel/panel_state.h"
#include "panel/panes.h"
#include "platform/carrier.h"
#include "platform/carrier_client.h"
#include "shell/module_path.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

void ResetPanel() {
  ResetPanelState(Panel());
}

std::vector<Hwnd> Slots() {
  std::vector<Hwnd> slots;
  for (auto& slot : Panel().PaneSlots)
    slots.push_back(slot.load());
  return slots;
}

class PanesTest : public ::testing::Test {
 protected:
  TempFolder root{"skerry-panes"};
  std::string program; // folder of the program, with blanks
  std::string log;
  int logCount = 0;

  void SetUp() override {
    ASSERT_FALSE(root.path.empty());
    program = root.path + "/program folder";
    std::filesystem::create_directories(program + "/Web");
    std::filesystem::create_directories(root.path + "/run");
    std::filesystem::copy_file(FAKE_PANE, program + "/Lumbrel.dll");
    for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm", "MenuVideo.htm"})
      std::ofstream(program + "/Web/" + page) << "<html></html>";
    SetModulePathForTests(program + "/skerry");
    setenv("XDG_RUNTIME_DIR", (root.path + "/run").c_str(), 1);
    unsetenv("FAKE_PANE_HANDLE");
    NextLog();
    ResetPanel();
    CarrierHandlers h{};
    h.post = [](unsigned message, WParam w, LParam l) {
      if (message == MsgPlacePane || (message >= MsgAnnounceFirst && message <= 1055))
        PaneMessage(Panel().PanelWindow, message, w, l);
    };
    std::string error;
    ASSERT_TRUE(CarrierListen(h, &error)) << error;
    SetPaneBackend(CarrierPaneBackend());
  }

  void TearDown() override {
    for (Hwnd h : Slots())
      if (h != 0)
        WinPostMessage(h, WM_QUIT, 0, 0);
    ServiceUntil([] { return CarrierClientPids().empty(); }, 2000);
    CarrierClose();
    SetPaneBackend(nullptr);
    SetModulePathForTests("");
    ResetPanel();
  }

  // Each launched Pane writes to a log of its own.
  void NextLog() {
    log = root.path + "/pane" + std::to_string(++logCount) + ".log";
    setenv("FAKE_PANE_LOG", log.c_str(), 1);
  }

  // The log's lines of one kind ("RECV ", "ARG "), without the prefix and,
  // for arguments, without their number.
  std::vector<std::string> Logged(const std::string& prefix) {
    std::vector<std::string> got;
    for (const std::string& line : FileLines(log))
      if (line.starts_with(prefix))
        got.push_back(prefix == "ARG " ? line.substr(line.find(' ', 4) + 1) : line.substr(5));
    return got;
  }
  std::vector<std::string> Received() { return Logged("RECV "); }
  std::vector<std::string> Arguments() { return Logged("ARG "); }
};

struct LaunchRow {
  const char* name;
  PaneRow row;
  const char* address;
  int channelBefore, slot, channelAfter;
  std::vector<std::string> arguments; // "@" stands for the program folder
};

std::string Expand(const std::string& text, const std::string& folder) {
  std::string out;
  for (char c : text)
    out += c == '@' ? folder : std::string(1, c);
  return out;
}

// Runs in order: the first Pane of the run goes to slot 0 though it says
// /h2, the game menu launched later with /h2 to slot 2.
TEST_F(PanesTest, EveryRowLaunchesWithItsArgumentsAndLandsInItsSlot) {
  // clang-format off
  const LaunchRow rows[] = {
      {"start", PaneRowStart, nullptr, ChannelStart, 0, ChannelClock, {"@/Web/iStart.htm", "/h2"}},
      {"game", PaneRowGame, nullptr, ChannelGame, 2, ChannelGame, {"@/Web/Index.htm", "/h2"}},
      {"clock", PaneRowClock, nullptr, ChannelClock, 0, ChannelClock, {"@/Web/iClock.htm", "/h0"}},
      {"home keeps blanks in one argument", PaneRowHome, "http://home.example/a b", ChannelHome, 5,
       ChannelHome, {"/U=http://home.example/a b", "/h5"}},
      {"video file", PaneRowVideo, "Web\\MenuVideo.htm", ChannelVideoFolder, 8, ChannelVideoFolder,
       {"@/Web/MenuVideo.htm", "/h8"}},
      {"video https is a file name", PaneRowVideo, "https://x/y", ChannelVideoSite, 4,
       ChannelVideoSite, {"@/https://x/y", "/h4"}},
      {"service page", PaneRowVideoSite, "https://video.example/Show/a b", ChannelVideoSite, 4,
       ChannelVideoSite, {"/U=https://video.example/Show/a b", "/h4"}},
  };
  // clang-format on
  for (const LaunchRow& row : rows) {
    SCOPED_TRACE(row.name);
    NextLog();
    Panel().Channel = row.channelBefore;
    Panel().PreviousChannel = 3;
    Hwnd before = Panel().PaneSlots[row.slot];
    LaunchPane(row.row, row.address);
    // The launch waited for the Pane's HELLO, but the slot changes only when
    // the announcement is handled, after the launching handler.
    EXPECT_EQ(Panel().PaneSlots[row.slot].load(), before);
    ASSERT_TRUE(ServiceUntil([&] {
      Hwnd h = Panel().PaneSlots[row.slot];
      return h != before && WinIsWindow(h);
    }));
    EXPECT_EQ(Panel().Channel.load(), row.channelAfter);
    EXPECT_EQ(Panel().PreviousChannel, 3);
    std::vector<std::string> want;
    std::string line = program + "/Lumbrel.dll";
    for (const std::string& a : row.arguments) {
      want.push_back(Expand(a, program));
      line += " " + want.back();
    }
    EXPECT_EQ(Arguments(), want);
    EXPECT_EQ(LastPaneCommandLine(), line);
  }
  std::vector<Hwnd> slots = Slots();
  for (int empty : {1, 3, 6, 7, 9, 10, 11})
    EXPECT_EQ(slots[empty], 0u) << "slot " << empty;
}

TEST_F(PanesTest, PlacingMovesTwiceThenTopmostWhateverTheTurn) {
  Panel().Channel = ChannelGame;
  LaunchPane(PaneRowGame, nullptr);
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(Panel().PaneSlots[2]); }));
  Panel().PanelRotation = 90;
  EXPECT_EQ(PaneMessage(Panel().PanelWindow, MsgPlacePane, 2, 0), 0);
  EXPECT_EQ(PaneMessage(Panel().PanelWindow, MsgPlacePane, 12, 0), 0); // refused
  EXPECT_EQ(PaneMessage(Panel().PanelWindow, MsgPlacePane, 5, 0), 0);  // empty slot
  WinPostMessage(Panel().PaneSlots[2], WM_COMMAND, 32779, 0);          // end marker
  std::vector<std::string> want = {
      "WINDOW RAISE",     "WINDOW FOCUS",    "WINDOW MOVE 19 74 -1 -1", "WINDOW MOVE 20 74 -1 -1",
      "WINDOW TOPMOST 1", "POST 273 32779 0"};
  EXPECT_TRUE(ServiceUntil([&] { return Received().size() >= want.size(); }));
  EXPECT_EQ(Received(), want);
}

struct AnnounceRow {
  const char* name;
  unsigned message;
  WParam w;
  int channel;
  int slot; // -1: nothing changes
  Hwnd handle;
  int channelAfter;
};

TEST_F(PanesTest, AnnouncementsFillTheirSlots) {
  // clang-format off
  const AnnounceRow rows[] = {
      {"1044 to slot 0, cut to 16 bits", 1044, 0x12345, ChannelHome, 0, 0x2345, ChannelHome},
      {"1046 on first start", 1046, 12, ChannelStart, 0, 12, ChannelClock},
      {"1046 later", 1046, 13, ChannelClock, 2, 13, ChannelClock},
      {"1047 not handled", 1047, 14, ChannelClock, -1, 0, ChannelClock},
      {"1048 to slot 4", 1048, 15, ChannelClock, 4, 15, ChannelClock},
      {"1054 to slot 10", 1054, 21, ChannelClock, 10, 21, ChannelClock},
      {"1055 not handled", 1055, 22, ChannelClock, -1, 0, ChannelClock},
      {"replaces a live handle", 1048, 23, ChannelClock, 4, 23, ChannelClock},
  };
  // clang-format on
  for (const AnnounceRow& row : rows) {
    SCOPED_TRACE(row.name);
    Panel().Channel = row.channel;
    Panel().PreviousChannel = 6;
    std::vector<Hwnd> want = Slots();
    if (row.slot >= 0)
      want[row.slot] = row.handle;
    EXPECT_EQ(PaneMessage(Panel().PanelWindow, row.message, row.w, 0), 0);
    EXPECT_EQ(Slots(), want);
    EXPECT_EQ(Panel().Channel.load(), row.channelAfter);
    EXPECT_EQ(Panel().PreviousChannel, 6);
  }
}

TEST_F(PanesTest, HiddenSlotPaneIsHiddenAndStaleSlotIsOverwritten) {
  CarrierConnection c;
  std::string error;
  ASSERT_TRUE(CarrierConnect(&c, "", &error)) << error;
  CarrierClientPost(&c, 1051, 0x10077, 0);
  ASSERT_TRUE(ServiceUntil([] { return Panel().PaneSlots[7] == 0x77; }));
  CarrierFrame f;
  ASSERT_EQ(CarrierClientRead(&c, &f, 2000), 1);
  EXPECT_EQ(CarrierFormatFrame(f), "WINDOW SHOW 0\n");

  // The Pane ends: its slot keeps the handle but it is no longer live.
  CarrierDisconnect(&c);
  ASSERT_TRUE(ServiceUntil([] { return !WinIsWindow(0x77); }));
  EXPECT_EQ(Panel().PaneSlots[7].load(), 0x77u);
  EXPECT_EQ(WinPostMessage(Panel().PaneSlots[7], WM_COMMAND, 32779, 0), 0);

  // The next announcement for the slot takes its place.
  ASSERT_TRUE(CarrierConnect(&c, "", &error)) << error;
  CarrierClientPost(&c, 1051, 0x78, 0);
  ASSERT_TRUE(ServiceUntil([] { return Panel().PaneSlots[7] == 0x78; }));
  EXPECT_TRUE(WinIsWindow(0x78));
  CarrierDisconnect(&c);
}

TEST_F(PanesTest, PaneAnnouncedOnATurnedPanelTakesTheTurnedPlace) {
  CarrierConnection c;
  std::string error;
  ASSERT_TRUE(CarrierConnect(&c, "", &error)) << error;
  Panel().Channel = ChannelGame;
  for (int rotation : {90, 0}) {
    Panel().PanelRotation = rotation;
    CarrierClientPost(&c, 1046, 0x31 + rotation, 0);
    ASSERT_TRUE(ServiceUntil([&] { return Panel().PaneSlots[2] == Hwnd(0x31 + rotation); }));
  }
  // Only the turned one is moved; the upright place is the Pane's own.
  CarrierFrame f;
  ASSERT_EQ(CarrierClientRead(&c, &f, 2000), 1);
  EXPECT_EQ(CarrierFormatFrame(f), "WINDOW MOVE 122 20 396 310\n");
  EXPECT_EQ(CarrierClientRead(&c, &f, 300), 0);
  CarrierDisconnect(&c);
}

TEST_F(PanesTest, RefusedOrImpossibleLaunchesStartNothingAndDontHang) {
  std::string tooLongLine(480, 'b'), tooLongAddress(512, 'c');

  struct Case {
    const char* name;
    std::function<void()> prepare;
    PaneRow row;
    std::string address;
  };
  std::string dll = program + "/Lumbrel.dll";
  const Case cases[] = {
      {"address over 511 bytes", [] {}, PaneRowHome, tooLongAddress},
      {"command line over 511", [] {}, PaneRowHome, tooLongLine},
      {"program not executable", [&] { chmod(dll.c_str(), 0600); }, PaneRowClock, ""},
      {"program missing", [&] { std::filesystem::remove(dll); }, PaneRowClock, ""},
  };
  for (const Case& c : cases) {
    NextLog();
    c.prepare();
    std::string lastBefore = LastPaneCommandLine();
    Panel().Channel = ChannelHome;
    auto start = std::chrono::steady_clock::now();
    LaunchPane(c.row, c.address.c_str());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500)) << c.name;
    ServiceUntil([] { return false; }, 200);
    EXPECT_TRUE(CarrierClientPids().empty()) << c.name;
    EXPECT_FALSE(std::filesystem::exists(log)) << c.name;
    EXPECT_EQ(LastPaneCommandLine(), lastBefore) << c.name;
    EXPECT_EQ(Slots(), std::vector<Hwnd>(PaneSlotCount, 0)) << c.name;
  }
}

TEST_F(PanesTest, MissingPageStillLaunches) {
  std::filesystem::remove(program + "/Web/iClock.htm");
  Panel().Channel = ChannelClock;
  LaunchPane(PaneRowClock, nullptr);
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(Panel().PaneSlots[0]); }));
  EXPECT_EQ(Arguments(), (std::vector<std::string>{program + "/Web/iClock.htm", "/h0"}));
}

} // namespace
