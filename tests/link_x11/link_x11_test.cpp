// A copied page link becomes a game, with the real program on a virtual
// display: xclip puts the page's address on the clipboard, the link dialog
// and the save dialog are answered with the mouse and the keyboard as a user
// would, the game comes from the test web, lands in Game under the name the
// save dialog proposed, the menu lists it, and the game Pane (launched by the
// Panel for the refresh) is told to reload. Shots of both dialogs go to
// screenshots/.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>

#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

std::string ReadAll(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string Shell(const std::string& command) {
  std::string out;
  if (FILE* pipe = popen(command.c_str(), "r")) {
    char line[256];
    while (fgets(line, sizeof line, pipe))
      out += line;
    pclose(pipe);
  }
  return out;
}

// The first visible window whose title is exactly title, or empty.
std::string WaitWindow(const std::string& title, int seconds = 30) {
  auto end = Clock::now() + std::chrono::seconds(seconds);
  while (Clock::now() < end) {
    std::string ids = Shell("xdotool search --onlyvisible --name '^" + title + "$' 2>/dev/null");
    if (!ids.empty())
      return ids.substr(0, ids.find('\n'));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  return std::string();
}

bool WaitFor(const std::function<bool()>& done, int seconds = 30) {
  auto end = Clock::now() + std::chrono::seconds(seconds);
  while (Clock::now() < end) {
    if (done())
      return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

void Shot(const std::string& window, const std::string& name) {
  fs::path out = fs::path(SKERRY_SOURCE_DIR) / "screenshots";
  fs::create_directories(out);
  Shell("import -window " + window + " '" + (out / name).string() + "' 2>/dev/null");
}

const std::string Game = std::string("CWS\x0A", 4) + std::string(3000, 'g');

TEST(LinkRoad, CopiedPageLinkBecomesAGameInTheMenu) {
  if (std::getenv("DISPLAY") == nullptr || Shell("command -v xclip xdotool").empty())
    GTEST_SKIP() << "needs a display, xclip and xdotool";
  fs::path root = fs::temp_directory_path() / ("skerry-link-" + std::to_string(getpid()));
  fs::remove_all(root);
  fs::path program = root / "program";
  fs::create_directories(program / "Web");
  fs::create_directories(program / "Game");
  fs::create_directories(root / "run");
  fs::permissions(root / "run", fs::perms::owner_all);
  fs::path resources = fs::path(SKERRY_SOURCE_DIR) / "resources" / "program";
  fs::copy_file(SKERRY_PROGRAM, program / "skerry");
  fs::copy_file(FAKE_PANE, program / "Lumbrel.dll");
  fs::copy_file(resources / "Define.ini", program / "Define.ini");
  fs::copy_file(resources / "@VEXANH.BMP", program / "@VEXANH.BMP");
  fs::copy(resources / "Res", program / "Res", fs::copy_options::recursive);
  for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm"})
    std::ofstream(program / "Web" / page) << "<html></html>";
  std::ofstream(program / "Game" / "a.swf") << "FWS"; // no top-list job at start

  TestWeb web;
  web.Put("games.test", "/arcade/page.htm",
          "<h1>Arcade</h1><embed src=\"http://games.test/files/Space%20Race.swf?v=2\" "
          "width=640 height=480>");
  web.Put("games.test", "/files/Space Race.swf", Game);
  ASSERT_TRUE(web.Start());
  web.WriteHosts(root / "system", {"games.test"});

  fs::path paneLog = root / "pane.log";
  pid_t panel = fork();
  if (panel == 0) {
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    setenv("XDG_RUNTIME_DIR", (root / "run").c_str(), 1);
    setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
    setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    setenv("FAKE_PANE_LOG", paneLog.c_str(), 1);
    setenv("LC_ALL", "C", 1);
    std::string exe = (program / "skerry").string();
    execl(exe.c_str(), exe.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  ASSERT_FALSE(WaitWindow("Tessel Skerry").empty()) << "the Panel didn't show";
  auto copy = [](const std::string& text) {
    Shell("printf %s '" + text + "' | xclip -selection clipboard >/dev/null 2>&1");
  };
  // A scheme in capitals is no link: a few watch ticks pass, nothing is asked.
  copy("HTTPS://games.test/arcade/page.htm");
  EXPECT_TRUE(WaitWindow("Tessel Quorlo Search & Download", 3).empty());
  EXPECT_TRUE(web.Requests().empty());
  copy("https://games.test/arcade/page.htm");

  std::string dialog = WaitWindow("Tessel Quorlo Search & Download");
  ASSERT_FALSE(dialog.empty()) << "no link dialog";
  std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // a frame or two
  Shot(dialog, "link-dialog.png");
  Shell("xdotool mousemove --window " + dialog + " 40 40 click 1"); // the picture button

  std::string save = WaitWindow("Save game to");
  ASSERT_FALSE(save.empty()) << "no save dialog";
  std::this_thread::sleep_for(std::chrono::milliseconds(800));
  Shot(save, "save-dialog.png");
  // The proposed name stands in the name field, which has the focus.
  Shell("xdotool mousemove --window " + save + " 20 20 windowfocus --sync " + save +
        " key --clearmodifiers Return");

  fs::path saved = program / "Game" / "Space-Race.swf";
  EXPECT_TRUE(WaitFor([&] { return ReadAll(saved) == Game; })) << "no game at " << saved;
  EXPECT_TRUE(WaitFor([&] {
    return ReadAll(paneLog).find("RECV POST 273 32779 0") != std::string::npos;
  })) << ReadAll(paneLog);
  EXPECT_NE(ReadAll(program / "Web" / "Menu1.htm").find("Space-Race.swf"), std::string::npos);
  EXPECT_EQ(web.Count("games.test", "/files/Space%20Race.swf"), 1);
  EXPECT_EQ(web.Requests().front().scheme, "https");

  kill(panel, SIGKILL);
  waitpid(panel, nullptr, 0);
  fs::remove_all(root);
}

} // namespace
