// The link download job on the headless backend against the test web: the
// question, the save dialog, the download with its check and retry, the
// failure message and the shared status line. The dialogs are answered from
// this (the GUI) thread while the jobs run on their own.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "games/link_download.h"
#include "games/locate.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/module_path.h"
#include "shell/settings.h"
#include "tests/testweb/test_web.h"

namespace fs = std::filesystem;

namespace {

const std::string Game = std::string("CWS\x0A", 4) + std::string(2000, 'g');
constexpr Hwnd GamePane = 7;

std::string Read(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class LinkJobTest : public testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/skerry-linkjob-XXXXXX";
    root = mkdtemp(pattern);
    program = root / "program";
    fs::create_directories(program / "Game");
    fs::create_directories(program / "Web");
    std::ofstream(program / "Define.ini") << "[Web]\nFetchTimeout=5\n[Game]\n";
    SetModulePathForTests((program / "skerry").string());
    setenv("SKERRY_SYSTEM_DIR", (root / "system").c_str(), 1);
    setenv("XDG_CACHE_HOME", (root / "cache").c_str(), 1);
    web.Put("games.test", "/page.htm",
            "<embed src=\"http://games.test/files/My%20Game.swf\" width=640 height=480>");
    web.Put("games.test", "/files/My Game.swf", Game);
    ASSERT_TRUE(web.Start());
    web.WriteHosts(root / "system", {"games.test"});
    HeadlessInstall();
    ResetPanelState(Panel());
    Panel().PaneSlots[2] = GamePane;
    HeadlessSetPaneLive(GamePane, true);
  }
  void TearDown() override {
    web.Stop();
    SetModulePathForTests("");
    fs::remove_all(root);
  }
  // Pumps the GUI thread until done() holds; false after 60 s.
  bool PumpUntil(const std::function<bool()>& done) {
    for (int i = 0; i < 1200; ++i) {
      HeadlessPumpFor(50, 10);
      if (done())
        return true;
    }
    return false;
  }
  // Starts the job for a page as the clipboard step does, and presses the
  // picture button of its question.
  void StartFromPage(const std::string& page) {
    char link[512] = "";
    ASSERT_EQ(LocateGameFile(page.c_str(), link, ".swf"), 0);
    std::size_t standing = HeadlessDialogs(1688).size();
    StartLinkDownload(0x10001, page.c_str(), link);
    ASSERT_TRUE(PumpUntil([&] { return HeadlessDialogs(1688).size() > standing; }));
    ASSERT_TRUE(HeadlessClick(HeadlessDialogs(1688).back(), 1));
  }
  std::size_t Refreshes() {
    std::size_t n = 0;
    for (const HeadlessCall& c : HeadlessCallsOf("post", GamePane))
      n += c.message == WM_COMMAND && c.w == 32779;
    return n;
  }
  bool WaitForRefreshes(std::size_t n) {
    return PumpUntil([&] { return Refreshes() >= n; });
  }
  std::string GameFile(const std::string& name) { return (program / "Game" / name).string(); }

  TestWeb web;
  fs::path root, program;
};

TEST_F(LinkJobTest, PageLinkBecomesAGameInTheMenu) {
  HeadlessScriptSaveAnswers({GameFile("My-Game.swf")});
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(WaitForRefreshes(1));
  auto asks = HeadlessSaveAsks();
  ASSERT_EQ(asks.size(), 1u);
  EXPECT_EQ(asks[0].name, "My-Game.swf");
  EXPECT_EQ(asks[0].folder, (program / "Game").string());
  EXPECT_EQ(Read(GameFile("My-Game.swf")), Game);
  EXPECT_NE(Read(program / "Web/Menu1.htm").find("My-Game.swf"), std::string::npos);
  char defPath[ProfileValueSize];
  ProfileRead("Game", "Def-Path", defPath, (program / "Define.ini").c_str());
  EXPECT_EQ(std::string(defPath), (program / "Game").string());
  EXPECT_TRUE(Panel().CollectStatus.Empty());
  EXPECT_TRUE(HeadlessBoxes().empty());
}

TEST_F(LinkJobTest, FileWithoutTheSignatureIsFetchedASecondTime) {
  web.Put("games.test", "/files/My Game.swf", "FWS" + std::string(500, 'u')); // uncompressed
  HeadlessScriptSaveAnswers({GameFile("My-Game.swf")});
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(WaitForRefreshes(1));
  EXPECT_EQ(web.Count("games.test", "/files/My%20Game.swf"), 2);
  EXPECT_TRUE(fs::exists(GameFile("My-Game.swf"))); // the second copy isn't checked
  EXPECT_TRUE(HeadlessBoxes().empty());
}

TEST_F(LinkJobTest, FailedDownloadSaysSoAndLeavesNoFile) {
  fs::path keep = GameFile("kept.swf");
  std::ofstream(keep) << "the user's own";
  web.Answer("games.test", "/files/My Game.swf", {"cut=100"});
  HeadlessScriptSaveAnswers({keep.string(), ""});
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(WaitForRefreshes(1));
  auto boxes = HeadlessBoxes();
  ASSERT_EQ(boxes.size(), 1u);
  EXPECT_EQ(boxes[0].title, "Message Info");
  EXPECT_EQ(boxes[0].text, "Unable download this file, use 'Tessel Quorlo' !");
  EXPECT_EQ(Read(keep), "the user's own"); // a cut download never harms the file
  for (const auto& entry : fs::directory_iterator(program / "Game")) // nothing half-written
    EXPECT_TRUE(entry.path().filename() == "kept.swf" || entry.path().filename() == "iGame.ini")
        << entry.path();
  EXPECT_TRUE(Panel().CollectStatus.Empty());

  // A cancelled save dialog fetches nothing but still refreshes the menu.
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(WaitForRefreshes(2));
  EXPECT_EQ(web.Count("games.test", "/files/My%20Game.swf"), 1);
}

TEST_F(LinkJobTest, TwoDownloadsShareTheStatusLine) {
  web.Put("games.test", "/two.htm",
          "<embed src=\"http://games.test/Two.swf\" width=640 height=480>");
  web.Put("games.test", "/Two.swf", Game);
  web.Answer("games.test", "/files/My Game.swf", {"delay=3000"});
  web.Answer("games.test", "/Two.swf", {"delay=3000"});
  HeadlessScriptSaveAnswers({GameFile("My-Game.swf"), GameFile("Two.swf")});
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(PumpUntil([] { return !Panel().CollectStatus.Empty(); }));
  StartFromPage("http://games.test/two.htm");
  ASSERT_TRUE(
      PumpUntil([] { return Panel().CollectStatus.Get().find(", ") != std::string::npos; }));
  EXPECT_EQ(Panel().CollectStatus.Get(), "Downloading My-Game.swf, Two.swf");
  ASSERT_TRUE(WaitForRefreshes(2));
  EXPECT_TRUE(Panel().CollectStatus.Empty());
  EXPECT_TRUE(fs::exists(GameFile("Two.swf")));
}

} // namespace
