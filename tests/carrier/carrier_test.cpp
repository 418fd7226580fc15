// The carrier server against real clients on its Unix socket, serviced on the
// test thread. (The Panel reaching a Pane's record is tests/panes'.)
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

#include "platform/carrier.h"
#include "platform/carrier_client.h"
#include "platform/process.h"
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
    setenv("XDG_RUNTIME_DIR", runtime.path.c_str(), 1);
    seen.clear(), offThread = false, servicingThread = std::this_thread::get_id();
    std::string error;
    ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
    SetPaneBackend(CarrierPaneBackend());
  }
  void TearDown() override { CarrierClose(), SetPaneBackend(nullptr); }
};

TEST_F(CarrierTest, SocketIsPrivateSingleAndReplacesOnlyAStaleSocket) {
  std::string path = runtime.path + "/skerry/panel.sock", error;
  EXPECT_EQ(CarrierSocketPath(), path);
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

TEST_F(CarrierTest, GoodFramesReachHandlersInOrderAndBadLinesAreDropped) {
  CarrierConnection c = Greeted(1001);
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
  Greeted(1010); // the server still answers
}

// A client silent for a few seconds without HELLO is dropped, a greeted one stays.
TEST_F(CarrierTest, SilentClientsWithoutHelloAreDropped) {
  CarrierConnection silent;
  std::string error;
  ASSERT_TRUE(CarrierConnect(&silent, "", &error)) << error;
  CarrierConnection c = Greeted(31337);
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 2; }));
  auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 1; }, 10000));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(CarrierClientPids(), std::vector<int>{31337});
  CarrierFrame frame;
  EXPECT_EQ(CarrierClientRead(&silent, &frame, 1000), -1) << "not closed";
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

} // namespace
