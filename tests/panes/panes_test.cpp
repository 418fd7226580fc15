// Real child Panes: the stand-in browser program as Lumbrel.dll in a folder
// with blanks; the test plays the Panel, passing announcements to PaneMessage.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>

#include "panel/panel_state.h"
#include "panel/panes.h"
#include "platform/carrier.h"
#include "platform/carrier_client.h"
#include "shell/module_path.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

std::vector<Hwnd> Slots() {
  std::vector<Hwnd> slots;
  for (auto& slot : Panel().PaneSlots)
    slots.push_back(slot.load());
  return slots;
}

class PanesTest : public ::testing::Test {
 protected:
  TempFolder root{"skerry-panes"};
  std::string program, log;
  int logCount = 0;

  void SetUp() override {
    program = root.path + "/program folder";
    std::filesystem::create_directories(program + "/Web");
    std::filesystem::create_directories(root.path + "/run");
    std::filesystem::copy_file(FAKE_PANE, program + "/Lumbrel.dll");
    for (const char* page : {"iStart.htm", "Index.htm", "MenuVideo.htm"}) // no iClock.htm
      std::ofstream(program + "/Web/" + page) << "<html></html>";
    SetModulePathForTests(program + "/skerry");
    setenv("XDG_RUNTIME_DIR", (root.path + "/run").c_str(), 1);
    NextLog();
    ResetPanelState(Panel());
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
    CarrierClose(); // the Panes end as their connections close
    SetPaneBackend(nullptr);
    SetModulePathForTests("");
    ResetPanelState(Panel());
  }

  void NextLog() { // each launched Pane writes to a log of its own
    log = root.path + "/pane" + std::to_string(++logCount) + ".log";
    setenv("FAKE_PANE_LOG", log.c_str(), 1);
  }

  // The log's "RECV " or "ARG " lines, without prefix and argument numbers.
  std::vector<std::string> Logged(const std::string& prefix) {
    std::vector<std::string> got;
    for (const std::string& line : FileLines(log))
      if (line.starts_with(prefix))
        got.push_back(prefix == "ARG " ? line.substr(line.find(' ', 4) + 1) : line.substr(5));
    return got;
  }
};

// The first Pane of the run goes to slot 0 though it says /h2, a later one
// with /h2 to slot 2; a missing page still launches.
TEST_F(PanesTest, EveryRowLaunchesWithItsArgumentsAndLandsInItsSlot) {
  // clang-format off
  struct Row { PaneRow row; const char* address; int channelBefore, slot, channelAfter; std::vector<std::string> arguments; };
  const Row rows[] = { // "@" stands for the program folder
      {PaneRowStart, nullptr, ChannelStart, 0, ChannelClock, {"@/Web/iStart.htm", "/h2"}},
      {PaneRowGame, nullptr, ChannelGame, 2, ChannelGame, {"@/Web/Index.htm", "/h2"}},
      {PaneRowClock, nullptr, ChannelClock, 0, ChannelClock, {"@/Web/iClock.htm", "/h0"}},
      {PaneRowHome, "http://home.example/a b", ChannelHome, 5, ChannelHome, {"/U=http://home.example/a b", "/h5"}},
      {PaneRowVideo, "Web\\MenuVideo.htm", ChannelVideoFolder, 8, ChannelVideoFolder, {"@/Web/MenuVideo.htm", "/h8"}},
      {PaneRowVideo, "https://x/y", ChannelVideoSite, 4, ChannelVideoSite, {"@/https://x/y", "/h4"}},
      {PaneRowVideoSite, "https://video.example/Show/a b", ChannelVideoSite, 4, ChannelVideoSite, {"/U=https://video.example/Show/a b", "/h4"}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(row.arguments[0]);
    NextLog();
    Panel().Channel = row.channelBefore;
    Hwnd before = Panel().PaneSlots[row.slot];
    LaunchPane(row.row, row.address);
    // The slot changes only when the announcement is handled, after the launch.
    EXPECT_EQ(Panel().PaneSlots[row.slot].load(), before);
    ASSERT_TRUE(ServiceUntil([&] {
      Hwnd h = Panel().PaneSlots[row.slot];
      return h != before && WinIsWindow(h);
    }));
    EXPECT_EQ(Panel().Channel.load(), row.channelAfter);
    std::vector<std::string> want;
    for (std::string a : row.arguments)
      want.push_back(a[0] == '@' ? program + a.substr(1) : a);
    EXPECT_EQ(Logged("ARG "), want);
    EXPECT_EQ(LastPaneCommandLine(), program + "/Lumbrel.dll " + want[0] + " " + want[1]);
  }
  std::vector<Hwnd> slots = Slots();
  EXPECT_EQ(std::count(slots.begin(), slots.end(), Hwnd(0)),
            PaneSlotCount - 5); // slots 0, 2, 4, 5, 8
}

TEST_F(PanesTest, PlacingMovesTwiceThenTopmostWhateverTheTurn) {
  Panel().Channel = ChannelGame;
  LaunchPane(PaneRowGame, nullptr);
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(Panel().PaneSlots[2]); }));
  Panel().PanelRotation = 90;
  for (WParam slot : {2, 12, 5}) // 12 is refused, 5 is empty
    EXPECT_EQ(PaneMessage(Panel().PanelWindow, MsgPlacePane, slot, 0), 0);
  WinPostMessage(Panel().PaneSlots[2], WM_COMMAND, 32779, 0); // end marker
  ServiceUntil([&] { return Logged("RECV ").size() >= 6; });
  EXPECT_EQ(Logged("RECV "),
            (std::vector<std::string>{"WINDOW RAISE", "WINDOW FOCUS", "WINDOW MOVE 19 74 -1 -1",
                                      "WINDOW MOVE 20 74 -1 -1", "WINDOW TOPMOST 1",
                                      "POST 273 32779 0"}));
}

TEST_F(PanesTest, AnnouncedPanesAreHiddenTurnedOrReplacedAsTheirSlotSays) {
  CarrierConnection c;
  CarrierFrame f;
  std::string error;
  ASSERT_TRUE(CarrierConnect(&c, "", &error)) << error;
  CarrierClientPost(&c, 1051, 0x10077, 0); // slot 7 is hidden
  ASSERT_TRUE(ServiceUntil([] { return Panel().PaneSlots[7] == 0x77; }));
  ASSERT_EQ(CarrierClientRead(&c, &f, 2000), 1);
  EXPECT_EQ(CarrierFormatFrame(f), "WINDOW SHOW 0\n");
  // Announced on a turned Panel the Pane takes the turned place; upright, its own.
  Panel().Channel = ChannelGame;
  for (int rotation : {90, 0}) {
    Panel().PanelRotation = rotation;
    CarrierClientPost(&c, 1046, 0x31 + rotation, 0);
    ASSERT_TRUE(ServiceUntil([&] { return Panel().PaneSlots[2] == Hwnd(0x31 + rotation); }));
  }
  ASSERT_EQ(CarrierClientRead(&c, &f, 2000), 1);
  EXPECT_EQ(CarrierFormatFrame(f), "WINDOW MOVE 122 20 396 310\n");
  EXPECT_EQ(CarrierClientRead(&c, &f, 300), 0);
  // The Pane ends: its slot keeps the handle, no longer live.
  CarrierDisconnect(&c);
  ASSERT_TRUE(ServiceUntil([] { return !WinIsWindow(0x77); }));
  EXPECT_EQ(Panel().PaneSlots[7].load(), 0x77u);
  EXPECT_EQ(WinPostMessage(Panel().PaneSlots[7], WM_COMMAND, 32779, 0), 0);
}

TEST_F(PanesTest, RefusedOrImpossibleLaunchesStartNothingAndDontHang) {
  std::string dll = program + "/Lumbrel.dll";
  const std::pair<std::string, std::function<void()>> cases[] = {
      {std::string(512, 'c'), [] {}}, // address over 511 bytes
      {std::string(480, 'b'), [] {}}, // command line over 511
      {"", [&] { chmod(dll.c_str(), 0600); }},
      {"", [&] { std::filesystem::remove(dll); }},
  };
  for (const auto& [address, prepare] : cases) {
    NextLog();
    prepare();
    Panel().Channel = ChannelHome;
    auto start = std::chrono::steady_clock::now();
    LaunchPane(address.empty() ? PaneRowClock : PaneRowHome, address.c_str());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    ServiceUntil([] { return false; }, 200);
    EXPECT_TRUE(CarrierClientPids().empty());
    EXPECT_FALSE(std::filesystem::exists(log));
    EXPECT_EQ(Slots(), std::vector<Hwnd>(PaneSlotCount, 0));
  }
}

} // namespace
