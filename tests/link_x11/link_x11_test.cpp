// A copied page link becomes a game in the real program on a virtual display,
// under a window manager beside other questions; xclip fills the clipboard,
// xdotool answers. Shots of the dialogs go to screenshots/.
#include <gtest/gtest.h>

#include "platform/ini.h"
#include "tests/collect/program_run.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;
using run::Output;
using run::WaitWindow;
using run::Windows;

namespace {

void Shot(const std::string& window, const std::string& name) {
  fs::path out = fs::path(SKERRY_SOURCE_DIR) / "screenshots";
  fs::create_directories(out);
  Output("import -window " + window + " '" + (out / name).string() + "' 2>/dev/null");
}

const std::string Game = std::string("CWS\x0A", 4) + std::string(3000, 'g');

void Copy(const std::string& text) {
  Output("printf %s '" + text + "' | xclip -selection clipboard >/dev/null 2>&1");
}

// Mean brightness (0..1) of what the screen shows of window: 0 for a black, unpainted one.
double Brightness(const std::string& window) {
  std::string mean = Output("import -window " + window + " -format '%[fx:mean]' info: 2>/dev/null");
  return mean.empty() ? 0 : std::stod(mean);
}

// Whether window comes to have the keyboard within 5 s.
bool Focused(const std::string& window) {
  return run::WaitFor(
      [&] { return Output("xdotool getactivewindow 2>/dev/null") == window + "\n"; }, 5);
}

// Under a window manager, the first start's question stands unanswered while a copied page
// link asks its dialogs: each new one is painted and takes the keyboard; the picture button
// answers the mouse, the save dialog the keyboard; the game lands under its cleaned name, the
// game Pane refreshes and the menu lists it; then the question still answers the keyboard.
TEST(LinkRoad, CopiedLinkBecomesAGameBesideOtherQuestions) {
  if (std::getenv("DISPLAY") == nullptr || Output("command -v xclip xdotool openbox").empty())
    GTEST_SKIP() << "needs a display, xclip, xdotool and openbox";
  TestWeb web;
  web.Put("games.test", "/arcade/page.htm",
          "<h1>Arcade</h1><embed src=\"http://games.test/files/Space%20Race.swf?v=2\" "
          "width=640 height=480>");
  web.Put("games.test", "/files/Space Race.swf", Game);
  ASSERT_TRUE(web.Start());
  run::Program p;
  web.WriteHosts(p.root / "system", {"games.test"});
  fs::copy_file(FAKE_PANE, p.program / "Lumbrel.dll");
  p.AddShippedFiles();
  IniWrite((p.program / "Define.ini").c_str(), "Game", "List", "https://games.test/top.ini");
  pid_t wm = fork();
  if (wm == 0) {
    execlp("openbox", "openbox", nullptr);
    _exit(127);
  }
  p.started.push_back(wm);
  std::this_thread::sleep_for(std::chrono::seconds(1));
  fs::path paneLog = p.root / "pane.log";
  p.Start({}, {{"QT_QPA_PLATFORM", "xcb"}, {"FAKE_PANE_LOG", paneLog.string()}});
  std::string panel = WaitWindow("Tessel Skerry", 30);
  ASSERT_FALSE(panel.empty()) << "the Panel didn't show";
  std::string question = WaitWindow("Tessel @Vexan", 30);
  ASSERT_FALSE(question.empty()) << "no first-start question";
  EXPECT_TRUE(Focused(question)) << "the question has no focus";
  Output("xdotool windowmove --sync " + question + " 20 20"); // aside, as a user would
  // The power button while it stands: the exit question comes, has the focus, and No keeps
  // the Panel.
  Output("xdotool mousemove --window " + panel + " 172 557 click 1");
  std::string exitBox;
  ASSERT_TRUE(run::WaitFor([&] {
    std::istringstream ids(Windows("Tessel Skerry"));
    for (std::string id; ids >> id;)
      if (id != panel)
        exitBox = id;
    return !exitBox.empty();
  })) << "no exit question";
  EXPECT_TRUE(Focused(exitBox)) << "the exit question has no focus";
  Output("xdotool key n");
  EXPECT_TRUE(run::WaitFor([&] { return Windows("Tessel Skerry") == panel + "\n"; }, 5));

  Copy("https://games.test/arcade/page.htm");
  std::string dialog = WaitWindow("Tessel Quorlo Search & Download", 30);
  ASSERT_FALSE(dialog.empty()) << "no link dialog";
  EXPECT_TRUE(Focused(dialog)) << "the link dialog has no focus";
  std::this_thread::sleep_for(std::chrono::milliseconds(1200)); // a frame or two
  Shot(dialog, "link-dialog.png");
  Shot("root", "desk-questions.png");
  EXPECT_GT(Brightness(question), 0.3) << "the question isn't painted";
  EXPECT_GT(Brightness(dialog), 0.3) << "the link dialog isn't painted";
  Output("xdotool mousemove --window " + dialog + " 40 40 click 1"); // the picture button

  std::string save = WaitWindow("Save game to", 30);
  ASSERT_FALSE(save.empty()) << "no save dialog";
  EXPECT_TRUE(Focused(save)) << "the save dialog has no focus";
  std::this_thread::sleep_for(std::chrono::milliseconds(800));
  Shot(save, "save-dialog.png");
  EXPECT_GT(Brightness(save), 0.3) << "the save dialog isn't painted";
  Output("xdotool key Return"); // the proposed name

  fs::path saved = p.program / "Game" / "Space-Race.swf";
  EXPECT_TRUE(run::WaitFor([&] { return ReadWhole(saved) == Game; })) << "no game at " << saved;
  EXPECT_TRUE(run::WaitForText(paneLog, "RECV POST 273 32779 0")) << ReadWhole(paneLog);
  EXPECT_NE(ReadWhole(p.program / "Web" / "Menu1.htm").find("Space-Race.swf"), std::string::npos);
  EXPECT_EQ(web.Count("games.test", "/files/Space%20Race.swf"), 1);
  EXPECT_EQ(web.Requests().front().scheme, "https");

  // A search that meets a window going away finds nothing: asked again until it stands.
  ASSERT_TRUE(run::WaitFor([] { return !Windows("Tessel @Vexan").empty(); }, 5))
      << "the question went unanswered";
  Output("xdotool windowactivate --sync " + question + " key n");
  EXPECT_TRUE(run::WaitFor([&] { return Windows("Tessel @Vexan").empty(); }, 10))
      << "the question doesn't answer the keyboard";
  EXPECT_EQ(web.Count("games.test", "/top.ini"), 0);
}

} // namespace
