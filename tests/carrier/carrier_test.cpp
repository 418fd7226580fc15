// The carrier server against real clients serviced on the test thread, and
// real child Panes: the stand-in browser program in a folder with blanks.
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

#include "panel/panel_state.h"
#include "panel/panes.h"
#include "platform/carrier.h"
#include "platform/carrier_client.h"
#include "platform/process.h"
#include "shell/module_path.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

std::mutex seenLock;
std::vector<std::string> seen; // "POST m w l", "TEXT c t", ...
std::thread::id servicingThread;
bool offThread = false;

void Record(std::string event, const std::vector<long long>& numbers) {
  for (long long n : numbers)
    event += " " + std::to_string(n);
  std::lock_guard<std::mutex> hold(seenLock);
  offThread |= std::this_thread::get_id() != servicingThread;
  seen.push_back(event);
}

std::vector<std::string> Events() {
  std::lock_guard<std::mutex> hold(seenLock);
  return seen;
}

CarrierHandlers RecordingHandlers() {
  CarrierHandlers h{};
  h.post = [](unsigned m, WParam w, LParam l) {
    Record("POST", {m, static_cast<long long>(w), l});
  };
  h.send = [](unsigned m, WParam w, LParam l) -> LResult {
    Record("SEND", {m, static_cast<long long>(w), l});
    return static_cast<LResult>(w) * 3;
  };
  h.text = [](int c, const std::string& t) { Record("TEXT " + std::to_string(c) + " " + t, {}); };
  h.window = [](const std::string& op, const std::vector<long>& args) {
    Record("WINDOW " + op, {args.begin(), args.end()});
  };
  h.nativeWindow = []() -> Hwnd { return 0x10001; };
  return h;
}

int BindAt(const std::string& path) {
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  bool ok = bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  return ok && listen(fd, 8) == 0 ? fd : -1;
}

// Runs work on a client thread while the test thread services the server.
void OnClient(const std::function<void()>& work) {
  std::atomic<bool> done{false};
  std::thread t([&] { work(), done = true; });
  EXPECT_TRUE(ServiceUntil([&] { return done.load(); }, 10000));
  t.join();
}

CarrierConnection Greeted(int pid) {
  CarrierConnection c;
  std::string error;
  EXPECT_TRUE(CarrierConnect(&c, "", &error)) << error;
  long long native = -1;
  OnClient([&] { EXPECT_TRUE(CarrierClientHello(&c, pid, 3000, &native)); });
  EXPECT_EQ(native, 0x10001);
  return c;
}

class CarrierTest : public ::testing::Test {
 protected:
  TempFolder runtime{"skerry-carrier"};
  void SetUp() override {
    seen.clear(), offThread = false, servicingThread = std::this_thread::get_id();
    Listen(RecordingHandlers());
  }
  void Listen(const CarrierHandlers& handlers) {
    setenv("XDG_RUNTIME_DIR", runtime.path.c_str(), 1);
    std::string error;
    ASSERT_TRUE(CarrierListen(handlers, &error)) << error;
    SetPaneBackend(CarrierPaneBackend());
  }
  void TearDown() override { CarrierClose(), SetPaneBackend(nullptr); }
};

TEST_F(CarrierTest, SocketIsPrivateSingleAndReplacesOnlyAStaleSocket) {
  std::string path = runtime.path + "/skerry/panel.sock", error;
  struct stat st {};
  ASSERT_EQ(stat((runtime.path + "/skerry").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_FALSE(CarrierListen(RecordingHandlers(), &error));
  EXPECT_EQ(ProcessRun({FAKE_PANE, {"--listen"}, {}, false}, 10000).exitCode, 3) << "second Panel";
  CarrierClose();
  EXPECT_NE(lstat(path.c_str(), &st), 0);
  EXPECT_TRUE(CarrierDescriptors().empty());

  // A socket whose owner went away is replaced; a user's file there is kept.
  ASSERT_EQ(close(BindAt(path)), 0);
  EXPECT_FALSE(CarrierPanelRunning());
  ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
  EXPECT_TRUE(CarrierPanelRunning());
  CarrierClose();
  { std::ofstream(path) << "keep me"; }
  EXPECT_FALSE(CarrierListen(RecordingHandlers(), &error));
  EXPECT_EQ(FileLines(path), std::vector<std::string>{"keep me"});

  // Without a runtime folder: below the user's own state folder.
  unsetenv("XDG_RUNTIME_DIR");
  setenv("XDG_STATE_HOME", (runtime.path + "/state").c_str(), 1);
  ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
  EXPECT_TRUE(CarrierPanelRunning());
  unsetenv("XDG_STATE_HOME");
}

// Good frames reach the handlers in order, bad lines are dropped, and so is a
// client silent for a few seconds without HELLO; a greeted one stays.
TEST_F(CarrierTest, GoodFramesReachHandlersInOrderBadLinesAndSilentClientsAreDropped) {
  CarrierConnection silent;
  std::string error;
  ASSERT_TRUE(CarrierConnect(&silent, "", &error)) << error;
  CarrierConnection c = Greeted(1001);
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 2; }));
  auto start = std::chrono::steady_clock::now();
  // A line with a zero byte and one too long for any buffer are dropped.
  const std::string bad[] = {std::string("POST 1033\0 2 3", 14), std::string(3000000, 'B')};
  LResult result = 0;
  OnClient([&] {
    CarrierClientPost(&c, 1033, 20100, 0);
    for (const std::string& line : bad)
      CarrierClientWriteRaw(&c, line + "\n");
    CarrierClientText(&c, 2010, "http://host/a b  c");
    CarrierClientWindow(&c, "MOVE", {1, 2, -1, -1});
    EXPECT_TRUE(CarrierClientSend(&c, 1033, 5, -9, 3000, &result));
  });
  EXPECT_EQ(result, 15);
  EXPECT_EQ(Events(), (std::vector<std::string>{"POST 1033 20100 0", "TEXT 2010 http://host/a b  c",
                                                "WINDOW MOVE 1 2 -1 -1", "SEND 1033 5 -9"}));
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 1; }, 10000));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(CarrierClientPids(), std::vector<int>{1001});
  CarrierFrame frame;
  EXPECT_EQ(CarrierClientRead(&silent, &frame, 1000), -1) << "not closed";
  std::lock_guard<std::mutex> hold(seenLock);
  EXPECT_FALSE(offThread) << "a handler ran off the servicing thread";
}

// A silent Pane costs one time-out, its late answer isn't taken for the next
// SEND's, no handler runs inside the wait; a Pane that never reads is dropped.
TEST_F(CarrierTest, SendGivesUpOnSilentOrDeafPaneAndRunsNoHandlerWhileWaiting) {
  CarrierConnection c = Greeted(1004), other = Greeted(1005);
  CarrierClientPost(&c, 1049, 500, 0); // announced as a Pane
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(500); }));
  seen.clear();
  std::atomic<bool> firstTimedOut{false};
  std::thread pane([&] {
    CarrierFrame f;
    ASSERT_EQ(CarrierClientRead(&c, &f, 5000), 1);
    while (!firstTimedOut)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    CarrierClientReply(&c, 9);
    ASSERT_EQ(CarrierClientRead(&c, &f, 5000), 1);
    EXPECT_EQ(f.w, 2u);
    for (int i = 1; i <= 3; ++i)
      CarrierClientPost(&other, 1033, static_cast<WParam>(i), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // let them arrive first
    CarrierClientReply(&c, 11);
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(WinSendMessage(500, WM_SYSCOMMAND, 1, 0), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start,
            std::chrono::milliseconds(CarrierSendTimeoutMs - 100));
  firstTimedOut = true;
  EXPECT_EQ(WinSendMessage(500, WM_SYSCOMMAND, 2, 0), 11);
  pane.join();
  EXPECT_TRUE(Events().empty()) << "a handler ran inside the wait";
  ASSERT_TRUE(ServiceUntil([] { return Events().size() >= 3; }));
  EXPECT_EQ(Events(),
            (std::vector<std::string>{"POST 1033 1 0", "POST 1033 2 0", "POST 1033 3 0"}));

  // The Pane reads no more: it is dropped, not waited for.
  int accepted = 0;
  for (int i = 0; i < 200000 && WinIsWindow(500); ++i)
    accepted += WinPostMessage(500, WM_COMMAND, 32779, 0);
  EXPECT_FALSE(WinIsWindow(500));
  EXPECT_GT(accepted, 1000);
}

// A listener of another user (as root), else one in a folder open to others,
// at the socket path: nobody connects to it or takes it for a Panel.
TEST(CarrierTrust, ForeignListenerIsNeitherTrustedNorUsed) {
  TempFolder runtime{"skerry-foreign"};
  chmod(runtime.path.c_str(), 0755);
  std::string folder = runtime.path + "/skerry", path = folder + "/panel.sock";
  bool otherUser = geteuid() == 0;
  mkdir(folder.c_str(), 0700);
  chmod(folder.c_str(), otherUser ? 0700 : 0755);
  ASSERT_TRUE(!otherUser || chown(folder.c_str(), 65534, 65534) == 0);
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int fd = -1;
    if ((otherUser && (setgid(65534) != 0 || setuid(65534) != 0)) || (fd = BindAt(path)) < 0)
      _exit(2);
    chmod(path.c_str(), 0777);
    (void)!write(report[1], "L", 1);
    while (accept(fd, nullptr, nullptr) >= 0)
      (void)!write(report[1], "C", 1);
    _exit(0);
  }
  close(report[1]);
  char mark = 0;
  ASSERT_TRUE(read(report[0], &mark, 1) == 1 && mark == 'L');

  setenv("XDG_RUNTIME_DIR", runtime.path.c_str(), 1);
  std::string why, error;
  EXPECT_FALSE(CarrierPathTrusted(path, &why));
  EXPECT_NE(why.find(otherUser ? "another user" : "open to other users"), std::string::npos) << why;
  EXPECT_FALSE(CarrierPanelRunning());
  CarrierConnection c;
  EXPECT_FALSE(CarrierConnect(&c, "", &error));
  EXPECT_NE(error.find("won't use"), std::string::npos) << error;
  if (otherUser) {
    EXPECT_FALSE(CarrierListen(CarrierHandlers{}, &error));
    EXPECT_NE(error.find("another user"), std::string::npos) << error;
  }
  pollfd p{report[0], POLLIN, 0};
  EXPECT_EQ(poll(&p, 1, 300), 0) << "something connected to the foreign listener";
  kill(child, SIGKILL), waitpid(child, nullptr, 0), close(report[0]);
}

std::vector<Hwnd> Slots() {
  std::vector<Hwnd> slots;
  for (auto& slot : Panel().PaneSlots)
    slots.push_back(slot.load());
  return slots;
}

// The test plays the Panel: announcements and placing go to PaneMessage.
class PanesTest : public CarrierTest {
 protected:
  std::string program = runtime.path + "/program folder", log;
  int logCount = 0;

  void SetUp() override {
    std::filesystem::create_directories(program + "/Web");
    std::filesystem::copy_file(FAKE_PANE, program + "/Lumbrel.dll");
    for (const char* page : {"iStart.htm", "Index.htm", "MenuVideo.htm"}) // no iClock.htm
      std::ofstream(program + "/Web/" + page) << "<html></html>";
    SetModulePathForTests(program + "/skerry");
    NextLog();
    ResetPanelState(Panel());
    CarrierHandlers h{};
    h.post = [](unsigned message, WParam w, LParam l) {
      if (message == MsgPlacePane || (message >= MsgAnnounceFirst && message <= 1055))
        PaneMessage(Panel().PanelWindow, message, w, l);
    };
    Listen(h);
  }

  void TearDown() override {
    CarrierTest::TearDown(); // the Panes end as their connections close
    SetModulePathForTests("");
    ResetPanelState(Panel());
  }

  void NextLog() { // each launched Pane writes to a log of its own
    log = runtime.path + "/pane" + std::to_string(++logCount) + ".log";
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

// The run's first Pane takes slot 0 though it says /h2; a missing page launches.
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
