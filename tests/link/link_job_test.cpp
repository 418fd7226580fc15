// The link download job on the headless backend against the test web: the
// check and second fetch, the failure message (a cut body, a game too large),
// two jobs under one name sharing the status line. The road from a copied
// link to the menu is link_road_x11's. Dialogs are answered from this (the
// GUI) thread while the jobs run on their own.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "games/link_download.h"
#include "games/locate.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"

namespace fs = std::filesystem;

namespace {

const std::string Game = std::string("CWS\x0A", 4) + std::string(2000, 'g');
constexpr Hwnd GamePane = 7;

class LinkJobTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("[Game]\n");
    program = env.program;
    fs::create_directories(program / "Game");
    fs::create_directories(program / "Web");
    web.Put("games.test", "/page.htm",
            "<embed src=\"http://games.test/files/My%20Game.swf\" width=640 height=480>");
    web.Put("games.test", "/files/My Game.swf", Game);
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"games.test"});
    ResetPanelState(Panel());
    Fresh();
  }
  // A fresh record of calls, boxes and refreshes, the game Pane live.
  void Fresh() {
    HeadlessInstall();
    Panel().PaneSlots[2] = GamePane;
    HeadlessSetPaneLive(GamePane, true);
  }
  void TearDown() override {
    web.Stop();
    DropWebEnv(env);
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
  // A page at /<name>.htm embedding file, which holds bytes, answered by rules
  // (tab-separated).
  void Page(const std::string& name, const std::string& file, const std::string& bytes,
            const std::string& rules = "") {
    web.Put("games.test", "/" + name + ".htm",
            "<embed src=\"http://games.test" + file + "\" width=640 height=480>");
    web.Put("games.test", file, bytes);
    if (!rules.empty())
      std::ofstream(web.Site("games.test") / ".answers", std::ios::app)
          << file << "\t" << rules << "\n";
  }

  TestWeb web;
  WebEnv env;
  fs::path program;
};

TEST_F(LinkJobTest, DownloadsChecksRetriesFailsAndSharesTheStatusLine) {
  // A file without the signature is fetched a second time, and kept.
  Page("plain", "/files/Plain.swf", "FWS" + std::string(500, 'u'));
  HeadlessScriptSaveAnswers({GameFile("Plain.swf")});
  StartFromPage("http://games.test/plain.htm");
  ASSERT_TRUE(WaitForRefreshes(1));
  EXPECT_EQ(web.Count("games.test", "/files/Plain.swf"), 2);
  EXPECT_TRUE(fs::exists(GameFile("Plain.swf")));
  EXPECT_TRUE(HeadlessBoxes().empty());

  // A cut body and a game that announces 2 GB (then stalls) end with the failure message,
  // the user's file as it was and nothing under the new name.
  fs::path keep = GameFile("kept.swf");
  std::ofstream(keep) << "the user's own";
  const std::string rows[][3] = {
      {"cut", "cut=100", keep.string()},
      {"huge", "nolength\theader=Content-Length: 2000000000\tstall=30000\tafter=100",
       GameFile("Huge.swf")},
  };
  for (const auto& [page, rules, saveAs] : rows) {
    SCOPED_TRACE(page);
    Page(page, "/files/" + page + ".swf", Game, rules);
    Fresh();
    HeadlessScriptSaveAnswers({saveAs});
    StartFromPage("http://games.test/" + page + ".htm");
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(WaitForRefreshes(1));
    // Refused at the announced length, not after the server gives up.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    auto boxes = HeadlessBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].title, "Message Info");
    EXPECT_EQ(boxes[0].text, "Unable download this file, use 'Tessel Quorlo' !");
    EXPECT_EQ(ReadWhole(keep.string()), "the user's own");
    EXPECT_FALSE(fs::exists(GameFile("Huge.swf")));
    EXPECT_TRUE(Panel().CollectStatus.Empty());
  }

  // Two slow jobs saving under one name: both named in the status line,
  // neither harms the other's file, and the game stands whole.
  Page("two", "/Two.swf", Game + "two", "delay=500");
  web.Answer("games.test", "/files/My Game.swf", {"rate=1000"});
  Fresh();
  HeadlessScriptSaveAnswers({GameFile("Same.swf"), GameFile("Same.swf")});
  StartFromPage("http://games.test/page.htm");
  ASSERT_TRUE(PumpUntil([] { return !Panel().CollectStatus.Empty(); }));
  StartFromPage("http://games.test/two.htm");
  ASSERT_TRUE(
      PumpUntil([] { return Panel().CollectStatus.Get().find(", ") != std::string::npos; }));
  EXPECT_EQ(Panel().CollectStatus.Get(), "Downloading Same.swf, Same.swf");
  ASSERT_TRUE(WaitForRefreshes(2));
  EXPECT_TRUE(HeadlessBoxes().empty());
  EXPECT_TRUE(Panel().CollectStatus.Empty());
  EXPECT_EQ(ReadWhole(GameFile("Same.swf")), Game) << "the slower job renames last";
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(program / "Game"))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"Plain.swf", "Same.swf", "kept.swf"}));
}

} // namespace
