// The real program as a child on Qt's offscreen platform in temporary folders,
// driven over its carrier; the stand-in browser program logs what it receives.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/process.h"
#include "tests/collect/program_run.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

int Count(const std::string& text, const std::string& part) {
  int n = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++n;
  return n;
}

class Program : public ::testing::Test {
 protected:
  void SetUp() override {
    p.AddShippedFiles();
    std::ofstream(p.program / "Game" / "a.swf") << "FWS"; // no top-list job at start
    // Inherited by every start of the program, a second one too.
    setenv("XDG_RUNTIME_DIR", (p.root / "run").c_str(), 1);
    setenv("SKERRY_SYSTEM_DIR", (p.root / "system").c_str(), 1);
    setenv("FAKE_PANE_LOG", log.c_str(), 1);
  }

  pid_t Start() { return p.Start({}, {{"QT_QPA_PLATFORM", platform}}); }

  bool LogHas(const std::string& part, int times = 1) {
    return run::WaitFor([&] { return Count(ReadWhole(log), part) >= times; }, 10);
  }

  run::Program p;
  std::string log = (p.root / "pane.log").string(), platform = "offscreen";
  std::string socketPath = (p.root / "run" / "skerry" / "panel.sock").string();
};

// A second start ends at once and leaves the first its socket; the first
// serves Panes and clients, idle ones or not, and ends on command 8 with 99.
TEST_F(Program, ServesPanesAndClientsAndASecondStartEndsAtOnce) {
  fs::copy_file(FAKE_PANE, p.program / "Lumbrel.dll");
  pid_t panel = Start();
  ASSERT_TRUE(LogHas("iStart.htm") && LogHas("HELLO ")) << ReadWhole(log);
  CarrierConnection client;
  ASSERT_TRUE(p.Connect(&client, 15));
  struct stat before = {}, after = {};
  ASSERT_EQ(stat(socketPath.c_str(), &before), 0);
  ProcessRequest second{
      (p.program / "skerry").string(), {}, {"QT_QPA_PLATFORM=offscreen", "LC_ALL=C"}};
  EXPECT_EQ(ProcessRun(second, 10000).exitCode, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_EQ(Count(ReadWhole(log), "iStart.htm"), 1) << ReadWhole(log);
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

  // Close on channel 0 ends the start page; the clock page takes its place,
  // and a refresh reaches it as a WM_COMMAND.
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20010, 0));
  ASSERT_TRUE(LogHas("RECV POST 18 0 0") && LogHas("iClock.htm") && LogHas("HELLO ", 2))
      << ReadWhole(log);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20060, 0));
  EXPECT_TRUE(LogHas("RECV POST 273 32779 0")) << ReadWhole(log);

  // The test itself is the game Pane now: announced while Channel isn't 99.
  CarrierConnection game;
  ASSERT_TRUE(p.Connect(&game, 15));
  ASSERT_TRUE(CarrierClientPost(&game, 1046, 0x54321, 0)); // kept as 0x4321
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20100, 0)); // zone 9: the live game Pane comes up
  ASSERT_TRUE(CarrierClientPost(&client, 1033, 20090, 0)); // zone 8: back, in the game Pane
  CarrierFrame frame{};
  while (frame.kind != CarrierFramePost)
    ASSERT_EQ(CarrierClientRead(&game, &frame, 5000), 1);
  EXPECT_EQ(std::tuple(frame.message, frame.w, frame.l),
            std::tuple(273u, WParam(32787), LParam(0)));
  EXPECT_EQ(Count(ReadWhole(log), "ARG 2 /h2"), 1) << "the live game Pane was launched again";

  ASSERT_TRUE(CarrierClientPost(&client, 273, 8, 99));
  EXPECT_EQ(run::Program::WaitExit(panel), 0);
}

// A client repeats every command that opens a loop of its own (tray menu,
// harvest question, video save dialog, 8,000 exit requests): one of each
// stands, the rest are dropped, and the Panel answers. On a display the boxes
// on the screen are counted too.
TEST_F(Program, RepeatedCommandsAskOnce) {
  bool display = std::getenv("DISPLAY") != nullptr;
  if (display)
    platform = "xcb";
  fs::create_directories(p.root / "cache" / "skerry" / "Cache");
  std::ofstream(p.root / "cache" / "skerry" / "Cache" / "found.swf")
      << "CWS" << std::string(600 << 10, 0);
  pid_t panel = Start();
  CarrierConnection client;
  ASSERT_TRUE(p.Connect(&client, 15));
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
  ASSERT_EQ(waitpid(panel, nullptr, WNOHANG), 0) << "the Panel ended";
  CarrierConnection again;
  auto asked = Clock::now();
  ASSERT_TRUE(p.Connect(&again, 1));
  EXPECT_LT(Clock::now() - asked, std::chrono::seconds(1));
  // While the question stands, even an exit without a question waits on it.
  ASSERT_TRUE(CarrierClientPost(&again, 273, 8, 99));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_EQ(waitpid(panel, nullptr, WNOHANG), 0);
  if (display) {
    auto shown = [](const std::string& title) { return Count(run::Windows(title), "\n"); };
    EXPECT_EQ(shown("Tessel Skerry"), 2) << "the Panel and one exit question";
    EXPECT_EQ(shown("Collect The Game!!!"), 1);
    EXPECT_EQ(shown("Save video to"), 1);
  }
}

} // namespace
