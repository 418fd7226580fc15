// A copied page link becomes a game, with the real program on a virtual
// display: xclip puts the page's address on the clipboard, the link dialog
// and the save dialog are answered with the mouse and the keyboard, the game
// comes from the test web, lands in Game under the proposed name, the menu
// lists it, and the game Pane (launched by the Panel) is told to reload.
// Shots of both dialogs go to screenshots/.
#include <gtest/gtest.h>

#include "tests/collect/program_run.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;
using run::Output;
using run::ReadAll;
using run::WaitWindow;

namespace {

void Shot(const std::string& window, const std::string& name) {
  fs::path out = fs::path(SKERRY_SOURCE_DIR) / "screenshots";
  fs::create_directories(out);
  Output("import -window " + window + " '" + (out / name).string() + "' 2>/dev/null");
}

TEST(LinkRoad, CopiedPageLinkBecomesAGameInTheMenu) {
  if (std::getenv("DISPLAY") == nullptr || Output("command -v xclip xdotool").empty())
    GTEST_SKIP() << "needs a display, xclip and xdotool";
  const std::string game = std::string("CWS\x0A", 4) + std::string(3000, 'g');
  TestWeb web;
  web.Put("games.test", "/arcade/page.htm",
          "<h1>Arcade</h1><embed src=\"http://games.test/files/Space%20Race.swf?v=2\" "
          "width=640 height=480>");
  web.Put("games.test", "/files/Space Race.swf", game);
  ASSERT_TRUE(web.Start());
  run::Program p;
  web.WriteHosts(p.root / "system", {"games.test"});
  fs::copy_file(FAKE_PANE, p.program / "Lumbrel.dll");
  fs::copy_file(fs::path(SKERRY_SOURCE_DIR) / "resources/program/Define.ini",
                p.program / "Define.ini");
  for (const char* page : {"iStart.htm", "iClock.htm", "Index.htm"})
    std::ofstream(p.program / "Web" / page) << "<html></html>";
  std::ofstream(p.program / "Game" / "a.swf") << "FWS"; // no top-list job at start
  fs::path paneLog = p.root / "pane.log";
  p.Start({}, {{"QT_QPA_PLATFORM", "xcb"}, {"FAKE_PANE_LOG", paneLog.string()}});
  ASSERT_FALSE(WaitWindow("Tessel Skerry", 30).empty()) << "the Panel didn't show";

  auto copy = [](const std::string& text) {
    Output("printf %s '" + text + "' | xclip -selection clipboard >/dev/null 2>&1");
  };
  // A scheme in capitals is no link: a few watch ticks pass, nothing is asked.
  copy("HTTPS://games.test/arcade/page.htm");
  EXPECT_TRUE(WaitWindow("Tessel Quorlo Search & Download", 3).empty());
  EXPECT_TRUE(web.Requests().empty());
  copy("https://games.test/arcade/page.htm");

  std::string dialog = WaitWindow("Tessel Quorlo Search & Download", 30);
  ASSERT_FALSE(dialog.empty()) << "no link dialog";
  std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // a frame or two
  Shot(dialog, "link-dialog.png");
  Output("xdotool mousemove --window " + dialog + " 40 40 click 1"); // the picture button

  std::string save = WaitWindow("Save game to", 30);
  ASSERT_FALSE(save.empty()) << "no save dialog";
  std::this_thread::sleep_for(std::chrono::milliseconds(800));
  Shot(save, "save-dialog.png");
  // The proposed name stands in the name field, which has the focus.
  Output("xdotool mousemove --window " + save + " 20 20 windowfocus --sync " + save +
         " key --clearmodifiers Return");

  fs::path saved = p.program / "Game" / "Space-Race.swf";
  EXPECT_TRUE(run::WaitFor([&] { return ReadAll(saved) == game; })) << "no game at " << saved;
  EXPECT_TRUE(run::WaitFor([&] {
    return ReadAll(paneLog).find("RECV POST 273 32779 0") != std::string::npos;
  })) << ReadAll(paneLog);
  EXPECT_NE(ReadAll(p.program / "Web" / "Menu1.htm").find("Space-Race.swf"), std::string::npos);
  EXPECT_EQ(web.Count("games.test", "/files/Space%20Race.swf"), 1);
  EXPECT_EQ(web.Requests().front().scheme, "https");
}

} // namespace
