// The real program as a child on Qt's offscreen platform in temporary folders,
// driven over its carrier; the stand-in browser program logs what it receives.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "platform/carrier_client.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

std::string ReadAll(const fs::path& path) {
  std::stringstream s;
  s << std::ifstream(path, std::ios::binary).rdbuf();
  return s.str();
}

int Count(const std::string& text, const std::string& part) {
  int n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++n;
  return n;
}

template <typename Done> bool Until(Done done, int timeoutMs) {
  auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
  for (;;) {
    if (done())
      return true;
    if (Clock::now() >= end)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

class Program : public ::testing::Test {
 protected:
  void SetUp() override {
    root = fs::temp_directory_path() / ("skerry-int-" + std::to_string(getpid()));
    fs::remove_all(root);
    program = root / "program";
    for (const fs::path& sub : {program / "Web", program / "Game", root / "run", root / "system"})
      fs::create_directories(sub);
    fs::permissions(root / "run", fs::perms::owner_all);
    fs::copy_file(SKERRY_PROGRAM, program / "skerry");
    fs::path resources = fs::path(SKERRY_SOURCE_DIR) / "resources" / "program";
    for (const char* file : {"Define.ini", "@VEXANH.BMP"})
      fs::copy_file(resources / file, program / file);
    fs::copy(resources / "Res", program / "Res", fs::copy_options::recursive);
    for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm"})
      std::ofstream(program / "Web" / page) << "<html></html>";
    std::ofstream(program / "Game" / "a.swf") << "FWS"; // no top-list job at start
    socketPath = (root / "run" / "skerry" / "panel.sock").string();
    paneLog = root / "pane.log";
  }

  void TearDown() override {
    for (pid_t pid : started)
      if (pid > 0 && kill(pid, SIGKILL) == 0)
        waitpid(pid, nullptr, 0);
    fs::remove_all(root);
  }

  void WithBrowser() {
    if (std::string(FAKE_PANE).empty())
      GTEST_SKIP() << "the stand-in browser program isn't built";
    fs::copy_file(FAKE_PANE, program / "Lumbrel.dll");
  }

  pid_t Start() {
    pid_t pid = fork();
    if (pid == 0) {
      setenv("QT_QPA_PLATFORM", platform.c_str(), 1);
      setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
      setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
      setenv("FAKE_PANE_LOG", paneLog.c_str(), 1);
      setenv("LC_ALL", "C", 1);
      setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
      std::string exe = (program / "skerry").string();
      execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    started.push_back(pid);
    return pid;
  }

  static int WaitExit(pid_t pid, int timeoutMs) {
    int status = 0;
    if (!Until([&] { return waitpid(pid, &status, WNOHANG) == pid; }, timeoutMs))
      return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }

  bool Connect(CarrierConnection* c, int timeoutMs = 15000) {
    std::string error;
    long long native = 0;
    auto hello = [&] {
      return CarrierConnect(c, socketPath, &error) &&
             (CarrierClientHello(c, getpid(), 3000, &native) || (CarrierDisconnect(c), false));
    };
    return Until(hello, timeoutMs);
  }

  bool LogHas(const std::string& part, int times = 1) {
    return Until([&] { return Count(ReadAll(paneLog), part) >= times; }, 10000);
  }

  fs::path root, program, paneLog;
  std::string socketPath;
  std::string platform = "offscreen";
  std::vector<pid_t> started;
};

// A second start ends at once and leaves the first its socket; the first
// serves Panes and clients, idle ones or not, and ends on command 8 with 99.
TEST_F(Program, ServesPanesAndClientsAndASecondStartEndsAtOnce) {
  WithBrowser();
  pid_t panel = Start();
  // The first Pane is the start page, launched with /h2, landing in slot 0.
  ASSERT_TRUE(LogHas("iStart.htm") && LogHas("ARG 2 /h2") && LogHas("HELLO ")) << ReadAll(paneLog);
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  struct stat before = {}, after = {};
  ASSERT_EQ(stat(socketPath.c_str(), &before), 0);
  EXPECT_EQ(WaitExit(Start(), 10000), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(Count(ReadAll(paneLog), "iStart.htm"), 1) << ReadAll(paneLog);
  ASSERT_EQ(stat(socketPath.c_str(), &after), 0);
  EXPECT_EQ(after.st_ino, before.st_ino);

  // A hundred connections that never speak can't keep a starting Pane out.
  std::vector<CarrierConnection> idle(100);
  std::string error;
  int held = 0;
  for (CarrierConnection& c : idle)
    held += CarrierConnect(&c, socketPath, &error) ? 1 : 0;
  EXPECT_GE(held, 64) << error;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));

  // Refresh reaches the base Pane as a WM_COMMAND.
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20060, 0));
  EXPECT_TRUE(LogHas("RECV POST 273 32779 0")) << ReadAll(paneLog);
  // Close on channel 0 ends the start page; the clock page takes its place.
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20010, 0));
  ASSERT_TRUE(LogHas("RECV POST 18 0 0") && LogHas("iClock.htm") && LogHas("ARG 2 /h0") &&
              LogHas("HELLO ", 2))
      << ReadAll(paneLog);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20060, 0));
  EXPECT_TRUE(LogHas("RECV POST 273 32779 0", 2)) << ReadAll(paneLog);

  // The test itself is the game Pane now: announced while Channel isn't 99.
  CarrierConnection game;
  ASSERT_TRUE(Connect(&game));
  ASSERT_TRUE(CarrierClientPost(&game, 1046, 0x54321, 0)); // kept as 0x4321
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0)); // zone 9: the live game Pane comes up
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20090, 0)); // zone 8: back, in the game Pane
  CarrierFrame frame{};
  while (frame.kind != CarrierFramePost)
    ASSERT_EQ(CarrierClientRead(&game, &frame, 5000), 1);
  EXPECT_EQ(std::tuple(frame.message, frame.w, frame.l),
            std::tuple(273u, WParam(32787), LParam(0)));
  EXPECT_EQ(Count(ReadAll(paneLog), "ARG 2 /h2"), 1) << "the live game Pane was launched again";

  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(WaitExit(panel, 10000), 0);
}

// A client repeats every command that opens a loop of its own (tray menu,
// harvest question, video save dialog, 8,000 exit requests): one of each
// stands, the rest are dropped, and the Panel answers. On a display the boxes
// on the screen are counted too.
TEST_F(Program, RepeatedCommandsAskOnce) {
  bool display = std::getenv("DISPLAY") != nullptr;
  if (display)
    platform = "xcb";
  fs::create_directories(root / "cache" / "skerry" / "Cache");
  std::ofstream(root / "cache" / "skerry" / "Cache" / "found.swf")
      << "CWS" << std::string(600 << 10, 0);
  pid_t panel = Start();
  CarrierConnection client;
  ASSERT_TRUE(Connect(&client));
  std::string frames;
  for (auto [frame, n] :
       {std::pair("POST 1125 2010 516\n", 2000),
        std::pair("TEXT 2010 http://127.0.0.1:9/a/Show/1\nPOST 1033 19040 0\n", 1),
        std::pair("POST 1033 20210 0\n", 2000), std::pair("POST 1033 20100 0\n", 1),
        std::pair("POST 1033 20210 0\n", 2000), std::pair("POST 273 8 0\n", 8000)})
    for (int i = 0; i < n; ++i)
      frames += frame;
  ASSERT_TRUE(CarrierClientWriteRaw(&client, frames));
  std::this_thread::sleep_for(std::chrono::seconds(4));
  ASSERT_EQ(WaitExit(panel, 0), -1) << "the Panel ended";
  CarrierConnection again;
  auto asked = Clock::now();
  ASSERT_TRUE(Connect(&again, 1000));
  EXPECT_LT(Clock::now() - asked, std::chrono::seconds(1));
  // While the question stands, even an exit without a question waits on it.
  ASSERT_TRUE(CarrierClientPost(&again, 273, 8, 99));
  EXPECT_EQ(WaitExit(panel, 1000), -1);
  if (display) {
    auto shown = [](const std::string& name) {
      std::string ids;
      std::string command = "xdotool search --onlyvisible --name '" + name + "' 2>/dev/null";
      if (FILE* pipe = popen(command.c_str(), "r")) {
        char line[64];
        while (fgets(line, sizeof line, pipe))
          ids += line;
        pclose(pipe);
      }
      return Count(ids, "\n");
    };
    EXPECT_EQ(shown("^Tessel Skerry$"), 2) << "the Panel and one exit question";
    EXPECT_EQ(shown("^Collect The Game!!!$"), 1);
    EXPECT_EQ(shown("^Save video to$"), 1);
  }
}

} // namespace
