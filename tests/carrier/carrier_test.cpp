// The carrier server against real clients on its Unix socket: client
// threads of this process, and real child processes where a second process
// matters. The server is serviced on the test thread.
#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "platform/carrier.h"
#include "platform/carrier_client.h"
#include "platform/process.h"
#include "tests/carrier/carrier_fixture.h"

namespace {

struct Seen {
  std::mutex lock;
  std::vector<std::string> events; // "POST m w l", "SEND m w l", "TEXT c t", "WINDOW op a.."
  std::thread::id handlerThread;
  bool otherThread = false;
};
Seen seen;

void Record(const std::string& event) {
  std::lock_guard<std::mutex> hold(seen.lock);
  if (std::this_thread::get_id() != seen.handlerThread)
    seen.otherThread = true;
  seen.events.push_back(event);
}

std::vector<std::string> Events() {
  std::lock_guard<std::mutex> hold(seen.lock);
  return seen.events;
}

std::string Numbers(std::string e, std::initializer_list<long long> ns) {
  for (long long n : ns)
    e += " " + std::to_string(n);
  return e;
}

CarrierHandlers RecordingHandlers() {
  CarrierHandlers h{};
  h.post = [](unsigned m, WParam w, LParam l) {
    Record(Numbers("POST", {m, static_cast<long long>(w), l}));
  };
  h.send = [](unsigned m, WParam w, LParam l) -> LResult {
    Record(Numbers("SEND", {m, static_cast<long long>(w), l}));
    return static_cast<LResult>(w) * 3;
  };
  h.text = [](int c, const std::string& t) { Record(Numbers("TEXT", {c}) + " " + t); };
  h.window = [](const std::string& op, const std::vector<long>& args) {
    std::string e = "WINDOW " + op;
    for (long a : args)
      e += " " + std::to_string(a);
    Record(e);
  };
  h.nativeWindow = []() -> Hwnd { return 0x10001; };
  return h;
}

// A client in its own thread, connected and greeted.
CarrierConnection Connected() {
  CarrierConnection c;
  std::string error;
  EXPECT_TRUE(CarrierConnect(&c, "", &error)) << error;
  return c;
}

class CarrierTest : public ::testing::Test {
 protected:
  TempFolder runtime{"skerry-carrier"};

  void SetUp() override {
    ASSERT_FALSE(runtime.path.empty());
    setenv("XDG_RUNTIME_DIR", runtime.path.c_str(), 1);
    {
      std::lock_guard<std::mutex> hold(seen.lock);
      seen.events.clear();
      seen.otherThread = false;
      seen.handlerThread = std::this_thread::get_id();
    }
    std::string error;
    ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
    SetPaneBackend(CarrierPaneBackend());
  }
  void TearDown() override {
    CarrierClose();
    SetPaneBackend(nullptr);
  }
};

// Greets from a thread (the test thread services the server meanwhile).
void Greet(CarrierConnection* c, int pid) {
  std::atomic<bool> done{false};
  long long native = -1;
  std::thread t([&] {
    EXPECT_TRUE(CarrierClientHello(c, pid, 3000, &native));
    done = true;
  });
  EXPECT_TRUE(ServiceUntil([&] { return done.load(); }));
  t.join();
  EXPECT_EQ(native, 0x10001);
}

TEST_F(CarrierTest, SocketLivesInPrivateFolderAndGoesAwayOnClose) {
  std::string path = CarrierSocketPath();
  EXPECT_EQ(path, runtime.path + "/skerry/panel.sock");
  struct stat st {};
  ASSERT_EQ(stat((runtime.path + "/skerry").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_TRUE(CarrierPanelRunning());
  CarrierClose();
  EXPECT_FALSE(CarrierPanelRunning());
  EXPECT_NE(lstat(path.c_str(), &st), 0);
  EXPECT_TRUE(CarrierDescriptors().empty());
  // Without a runtime folder the socket lies below the user's own state
  // folder, which no other user can make first.
  unsetenv("XDG_RUNTIME_DIR");
  setenv("XDG_STATE_HOME", (runtime.path + "/state").c_str(), 1);
  EXPECT_EQ(CarrierSocketPath(), runtime.path + "/state/skerry/run/panel.sock");
  std::string error;
  ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
  EXPECT_TRUE(CarrierPanelRunning());
  CarrierClose();
  unsetenv("XDG_STATE_HOME");
}

TEST_F(CarrierTest, StaleSocketIsReplacedButOtherFilesAreKept) {
  CarrierClose();
  std::string path = CarrierSocketPath();
  // A socket file that nobody answers: bound, then its owner went away.
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(fd);
  EXPECT_FALSE(CarrierPanelRunning());
  std::string error;
  ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
  EXPECT_TRUE(CarrierPanelRunning());
  CarrierClose();

  // A user's file in the socket's place is not a stale socket: refuse, keep it.
  { std::ofstream(path) << "keep me"; }
  EXPECT_FALSE(CarrierListen(RecordingHandlers(), &error));
  EXPECT_FALSE(error.empty());
  EXPECT_EQ(ReadWholeFile(path), "keep me");
  std::filesystem::remove(path);
  ASSERT_TRUE(CarrierListen(RecordingHandlers(), &error)) << error;
}

TEST_F(CarrierTest, SecondListenerIsRefused) {
  std::string error;
  EXPECT_FALSE(CarrierListen(RecordingHandlers(), &error));

  ProcessRequest request;
  request.program = FAKE_PANE;
  request.arguments = {"--listen"};
  ProcessResult other = ProcessRun(request, 10000);
  EXPECT_EQ(other.exitCode, 3) << other.error;

  // The first Panel still answers.
  CarrierConnection c = Connected();
  Greet(&c, 77);
}

TEST_F(CarrierTest, FramesFromClientReachHandlersInOrder) {
  CarrierConnection c = Connected();
  Greet(&c, 1001);
  LResult result = 0;
  std::atomic<bool> done{false};
  std::thread t([&] {
    CarrierClientPost(&c, 1033, 20100, 0);
    CarrierClientText(&c, 2010, "http://host/a b  c");
    CarrierClientWindow(&c, "MOVE", {1, 2, -1, -1});
    EXPECT_TRUE(CarrierClientSend(&c, 1033, 5, -9, 3000, &result));
    done = true;
  });
  EXPECT_TRUE(ServiceUntil([&] { return done.load(); }));
  t.join();
  EXPECT_EQ(result, 15);
  std::vector<std::string> want = {"POST 1033 20100 0", "TEXT 2010 http://host/a b  c",
                                   "WINDOW MOVE 1 2 -1 -1", "SEND 1033 5 -9"};
  EXPECT_EQ(Events(), want);
  std::lock_guard<std::mutex> hold(seen.lock);
  EXPECT_FALSE(seen.otherThread) << "a handler ran off the servicing thread";
}

TEST_F(CarrierTest, PanelReachesPaneThroughItsRecord) {
  CarrierConnection c = Connected();
  Greet(&c, 1002);
  std::thread announce([&] { CarrierClientPost(&c, 1046, 0x12345, 0); });
  announce.join();
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(0x2345); }));
  EXPECT_FALSE(WinIsWindow(0x2346));

  // The Pane answers SENDs with 42 and records everything in order.
  std::mutex gotLock;
  std::vector<std::string> got;
  auto gotCount = [&] {
    std::lock_guard<std::mutex> hold(gotLock);
    return got.size();
  };
  std::atomic<bool> stop{false};
  std::thread pane([&] {
    while (!stop) {
      CarrierFrame f;
      if (CarrierClientRead(&c, &f, 50) != 1)
        continue;
      std::string line = CarrierFormatFrame(f);
      line.pop_back();
      {
        std::lock_guard<std::mutex> hold(gotLock);
        got.push_back(line);
      }
      if (f.kind == CarrierFrameSend)
        CarrierClientReply(&c, 42);
    }
  });
  Hwnd h = 0x2345;
  EXPECT_EQ(WinPostMessage(h, WM_COMMAND, 32779, 0), 1);
  WinPostMessage(h, WM_QUIT, 0, 0);
  EXPECT_EQ(WinSendMessage(h, WM_SYSCOMMAND, SC_MAXIMIZE, 0), 42);
  WinBringWindowToTop(h);
  WinSetForegroundWindow(h);
  WinSetWindowPos(h, HWND_TOP, 122, 20, 396, 310, SWP_NOZORDER); // a turn
  WinSetWindowPos(h, HWND_TOP, 19, 74, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  WinSetWindowPos(h, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOMOVE);
  WinSetWindowPos(h, HWND_NOTOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
  WinShowWindow(h, SW_HIDE);
  WinShowWindow(h, SW_SHOW);
  WinInvalidate(h);
  std::vector<std::string> want = {"POST 273 32779 0",
                                   "POST 18 0 0",
                                   "SEND 274 61488 0",
                                   "WINDOW RAISE",
                                   "WINDOW FOCUS",
                                   "WINDOW MOVE 122 20 396 310",
                                   "WINDOW MOVE 19 74 -1 -1",
                                   "WINDOW TOPMOST 1",
                                   "WINDOW TOPMOST 0",
                                   "WINDOW SHOW 1",
                                   "WINDOW SHOW 0",
                                   "WINDOW SHOW 1",
                                   "WINDOW REDRAW"};
  auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (gotCount() < want.size() && std::chrono::steady_clock::now() < end)
    CarrierPoll(10);
  stop = true;
  pane.join();
  EXPECT_EQ(got, want);
}

TEST_F(CarrierTest, BadLinesAreDroppedAndTheConnectionLivesOn) {
  CarrierConnection c = Connected();
  Greet(&c, 1003);
  const std::string bad[] = {
      "",
      "POST",
      "POST a b c",
      "POST  1033 2 3",
      "post 1033 2 3",
      "POST 1033 99999999999999999999999 0",
      "POST -1 2 3",
      "HELLO",
      "WINDOW move 1",
      std::string("POST 1033\0 2 3", 14),
      "POST 1033 1 " + std::string(5000, '9'),
      std::string(100000, 'A'),
  };
  std::atomic<bool> done{false};
  std::thread t([&] {
    for (const std::string& line : bad)
      CarrierClientWriteRaw(&c, line + "\n");
    CarrierClientWriteRaw(&c, std::string(3000000, 'B')); // no LF at all, then one
    CarrierClientWriteRaw(&c, "\nPOST 1033 7 0\r\n");
    done = true;
  });
  EXPECT_TRUE(ServiceUntil([&] { return done.load() && !Events().empty(); }, 10000));
  t.join();
  CarrierPoll(20);
  EXPECT_EQ(Events(), std::vector<std::string>{"POST 1033 7 0"});
  Greet(&c, 1003); // still answered
}

TEST_F(CarrierTest, SendGivesUpOnSilentPaneAndIgnoresItsLateAnswer) {
  CarrierConnection c = Connected();
  Greet(&c, 1004);
  std::thread([&] { CarrierClientPost(&c, 1049, 500, 0); }).join();
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(500); }));

  std::atomic<bool> firstTimedOut{false};
  std::thread pane([&] {
    CarrierFrame f;
    ASSERT_EQ(CarrierClientRead(&c, &f, 5000), 1);
    EXPECT_EQ(f.kind, CarrierFrameSend);
    while (!firstTimedOut)
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    CarrierClientReply(&c, 9); // too late for the first send
    ASSERT_EQ(CarrierClientRead(&c, &f, 5000), 1);
    EXPECT_EQ(f.w, 2u);
    CarrierClientReply(&c, 11);
  });
  auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(WinSendMessage(500, WM_SYSCOMMAND, 1, 0), 0);
  auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(CarrierSendTimeoutMs - 100));
  firstTimedOut = true;
  EXPECT_EQ(WinSendMessage(500, WM_SYSCOMMAND, 2, 0), 11);
  pane.join();
}

TEST_F(CarrierTest, FramesFromOthersWaitWhileThePanelWaitsForRet) {
  CarrierConnection pane = Connected(), other = Connected();
  Greet(&pane, 1005);
  Greet(&other, 1006);
  std::thread([&] { CarrierClientPost(&pane, 1048, 600, 0); }).join();
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(600); }));
  {
    std::lock_guard<std::mutex> hold(seen.lock);
    seen.events.clear();
  }

  std::thread t([&] {
    CarrierFrame f;
    ASSERT_EQ(CarrierClientRead(&pane, &f, 5000), 1);
    for (int i = 1; i <= 3; ++i)
      CarrierClientPost(&other, 1033, static_cast<WParam>(i), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // let them arrive first
    CarrierClientReply(&pane, 5);
  });
  EXPECT_EQ(WinSendMessage(600, WM_COMMAND, 32805, 0), 5);
  t.join();
  EXPECT_TRUE(Events().empty()) << "a handler ran inside the wait";
  ASSERT_TRUE(ServiceUntil([] { return Events().size() >= 3; }));
  std::vector<std::string> want = {"POST 1033 1 0", "POST 1033 2 0", "POST 1033 3 0"};
  EXPECT_EQ(Events(), want);
}

TEST_F(CarrierTest, PaneLivesWhileItsConnectionIsOpen) {
  CarrierConnection first = Connected(), second = Connected();
  Greet(&first, 1007);
  Greet(&second, 1008);
  std::thread([&] { CarrierClientPost(&first, 1044, 0x70007, 0); }).join();
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(7); }));
  EXPECT_EQ(WinPostMessage(7, WM_COMMAND, 1, 0), 1);

  // A later announcement of the same handle takes it over.
  std::thread([&] { CarrierClientPost(&second, 1045, 7, 0); }).join();
  ASSERT_TRUE(ServiceUntil([] { return Events().size() >= 2; }));
  CarrierDisconnect(&first);
  ServiceUntil([] { return false; }, 100);
  EXPECT_TRUE(WinIsWindow(7));

  CarrierDisconnect(&second);
  EXPECT_TRUE(ServiceUntil([] { return !WinIsWindow(7); }));
  EXPECT_EQ(WinPostMessage(7, WM_COMMAND, 1, 0), 0);
  EXPECT_EQ(WinSendMessage(7, WM_SYSCOMMAND, SC_MAXIMIZE, 0), 0);
  EXPECT_FALSE(WinIsWindow(0)); // never a Pane
}

TEST_F(CarrierTest, ClientThatNeverReadsIsDroppedNotWaitedFor) {
  CarrierConnection c = Connected();
  Greet(&c, 1009);
  std::thread([&] { CarrierClientPost(&c, 1050, 800, 0); }).join();
  ASSERT_TRUE(ServiceUntil([] { return WinIsWindow(800); }));
  int accepted = 0;
  for (int i = 0; i < 200000 && WinIsWindow(800); ++i)
    accepted += WinPostMessage(800, WM_COMMAND, 32779, 0);
  EXPECT_FALSE(WinIsWindow(800));
  EXPECT_GT(accepted, 1000);
  CarrierPoll(10); // the server still works
  CarrierConnection d = Connected();
  Greet(&d, 1010);
}

TEST_F(CarrierTest, WaitForClientSeesHelloButRunsNoHandler) {
  CarrierConnection c = Connected();
  std::thread t([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    long long native = 0;
    EXPECT_TRUE(CarrierClientHello(&c, 31337, 3000, &native));
    CarrierClientPost(&c, 1044, 9, 0);
  });
  EXPECT_TRUE(CarrierWaitForClient(31337, 2000));
  t.join();
  EXPECT_TRUE(CarrierWaitForClient(31337, 0)); // remembered
  auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(CarrierWaitForClient(31338, 200));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(190));
  EXPECT_TRUE(Events().empty());
  EXPECT_TRUE(ServiceUntil([] { return Events().size() == 1; }));
  EXPECT_EQ(Events()[0], "POST 1044 9 0");
  std::vector<int> pids = CarrierClientPids();
  EXPECT_NE(std::find(pids.begin(), pids.end(), 31337), pids.end());
}

// A client that hasn't said HELLO within five seconds is dropped; one that has
// stays.
TEST_F(CarrierTest, SilentClientIsDroppedAfterAFewSeconds) {
  CarrierConnection silent = Connected(), greeted = Connected();
  Greet(&greeted, 1011);
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 2; }));
  auto start = std::chrono::steady_clock::now();
  ASSERT_TRUE(ServiceUntil([] { return CarrierClientPids().size() == 1; }, 10000));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  EXPECT_EQ(CarrierClientPids(), std::vector<int>{1011});
  CarrierFrame frame;
  EXPECT_EQ(CarrierClientRead(&silent, &frame, 1000), -1) << "not closed";
  CarrierDisconnect(&silent);
  CarrierDisconnect(&greeted);
}

// A listener of another user (when the test may take another uid), else one
// in a folder other users may enter, stands at the socket path: no client
// connects to it, the single-instance test doesn't take it for a Panel, and
// a Panel refuses to listen there, saying why.
TEST(CarrierTrust, ForeignListenerIsNeitherTrustedNorUsed) {
  TempFolder runtime{"skerry-foreign"};
  ASSERT_FALSE(runtime.path.empty());
  chmod(runtime.path.c_str(), 0755);
  std::string folder = runtime.path + "/skerry";
  std::string path = folder + "/panel.sock";
  bool otherUser = geteuid() == 0;
  mkdir(folder.c_str(), otherUser ? 0700 : 0755);
  if (otherUser)
    ASSERT_EQ(chown(folder.c_str(), 65534, 65534), 0);
  else
    chmod(folder.c_str(), 0755);
  int report[2];
  ASSERT_EQ(pipe(report), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (otherUser && (setgid(65534) != 0 || setuid(65534) != 0))
      _exit(2);
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(fd, 8) != 0)
      _exit(3);
    chmod(path.c_str(), 0777);
    (void)!write(report[1], "L", 1);
    int accepted = 0;
    while (accept(fd, nullptr, nullptr) >= 0) {
      ++accepted;
      (void)!write(report[1], "C", 1);
    }
    _exit(0);
  }
  close(report[1]);
  char mark = 0;
  ASSERT_EQ(read(report[0], &mark, 1), 1);
  ASSERT_EQ(mark, 'L');

  setenv("XDG_RUNTIME_DIR", runtime.path.c_str(), 1);
  std::string why;
  EXPECT_FALSE(CarrierPathTrusted(path, &why));
  EXPECT_NE(why.find(otherUser ? "another user" : "open to other users"), std::string::npos) << why;
  EXPECT_FALSE(CarrierPanelRunning());
  CarrierConnection c;
  std::string error;
  EXPECT_FALSE(CarrierConnect(&c, "", &error));
  EXPECT_NE(error.find("won't use"), std::string::npos) << error;
  if (otherUser) {
    EXPECT_FALSE(CarrierListen(CarrierHandlers{}, &error));
    EXPECT_NE(error.find("another user"), std::string::npos) << error;
  }
  pollfd p{report[0], POLLIN, 0};
  EXPECT_EQ(poll(&p, 1, 300), 0) << "something connected to the foreign listener";
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  close(report[0]);
}

} // namespace
