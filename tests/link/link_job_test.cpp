// The link question and the link download job on the headless backend against
// the test web; the road from a copied link to the menu is link_road_x11's.
// Dialogs are answered from this (the GUI) thread while the jobs run on their own.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "games/link_dialog.h"
#include "games/link_download.h"
#include "games/locate.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"
#include "shell/settings.h"
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
    fs::create_directories(env.program / "Game");
    fs::create_directories(env.program / "Web");
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"games.test"});
    ResetPanelState(Panel());
  }
  void TearDown() override {
    web.Stop();
    DropWebEnv(env);
  }
  bool PumpUntil(const std::function<bool()>& done) { // false after 60 s
    for (int i = 0; i < 1200 && !done(); ++i)
      HeadlessPumpFor(50, 10);
    return done();
  }
  // Starts the job for a page as the clipboard step does and presses the picture button;
  // with saveAs, on a fresh record of calls and boxes, the game Pane live.
  void Start(const std::string& name, const std::vector<std::string>& saveAs = {}) {
    if (!saveAs.empty()) {
      HeadlessInstall();
      Panel().PaneSlots[2] = GamePane;
      HeadlessSetPaneLive(GamePane, true);
      HeadlessScriptSaveAnswers(saveAs);
    }
    std::string page = "http://games.test/" + name + ".htm";
    char link[512] = "";
    ASSERT_EQ(LocateGameFile(page.c_str(), link, ".swf"), 0);
    std::size_t standing = HeadlessDialogs(1688).size();
    StartLinkDownload(0x10001, page.c_str(), link);
    ASSERT_TRUE(PumpUntil([&] { return HeadlessDialogs(1688).size() > standing; }));
    ASSERT_TRUE(HeadlessClick(HeadlessDialogs(1688).back(), 1));
  }
  bool WaitForRefreshes(std::size_t n) { // of the game Pane's list
    return PumpUntil([&] {
      std::size_t seen = 0;
      for (const HeadlessCall& c : HeadlessCallsOf("post", GamePane))
        seen += c.message == WM_COMMAND && c.w == 32779;
      return seen >= n;
    });
  }
  std::string GameFile(const std::string& name) { return (env.program / "Game" / name).string(); }
  // A page at /<name>.htm embedding /files/<name>.swf: bytes answered by tab-separated rules.
  void Page(const std::string& name, const std::string& bytes, const std::string& rules = "") {
    std::string file = "/files/" + name + ".swf";
    web.Put("games.test", "/" + name + ".htm",
            "<embed src=\"http://games.test" + file + "\" width=640 height=480>");
    web.Put("games.test", file, bytes);
    web.Answer("games.test", file, {rules});
  }
  TestWeb web;
  WebEnv env;
};

TEST_F(LinkJobTest, DownloadsChecksRetriesFailsAndSharesTheStatusLine) {
  // A file without the signature is fetched a second time, and kept.
  Page("plain", "FWS" + std::string(500, 'u'));
  Start("plain", {GameFile("Plain.swf")});
  ASSERT_TRUE(WaitForRefreshes(1));
  EXPECT_EQ(web.Count("games.test", "/files/plain.swf"), 2);
  EXPECT_TRUE(fs::exists(GameFile("Plain.swf")));

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
    Page(page, Game, rules);
    Start(page, {saveAs});
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(WaitForRefreshes(1));
    // Refused at the announced length, not after the server gives up.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    ASSERT_EQ(HeadlessBoxes().size(), 1u);
    EXPECT_EQ(HeadlessBoxes()[0].text, "Unable download this file, use 'Tessel Quorlo' !");
    EXPECT_EQ(ReadWhole(keep.string()), "the user's own");
    EXPECT_FALSE(fs::exists(GameFile("Huge.swf")));
    EXPECT_TRUE(Panel().CollectStatus.Empty());
  }

  // Two slow jobs saving under one name: both named in the status line,
  // neither harms the other's file, and the game stands whole.
  Page("two", Game + "two", "delay=500");
  Page("one", Game, "rate=1000");
  Start("one", {GameFile("Same.swf"), GameFile("Same.swf")});
  ASSERT_TRUE(PumpUntil([] { return !Panel().CollectStatus.Empty(); }));
  Start("two");
  ASSERT_TRUE(
      PumpUntil([] { return Panel().CollectStatus.Get().find(", ") != std::string::npos; }));
  EXPECT_EQ(Panel().CollectStatus.Get(), "Downloading Same.swf, Same.swf");
  ASSERT_TRUE(WaitForRefreshes(2));
  EXPECT_TRUE(HeadlessBoxes().empty());
  EXPECT_EQ(ReadWhole(GameFile("Same.swf")), Game) << "the slower job renames last";
  EXPECT_EQ(std::distance(fs::directory_iterator(env.program / "Game"), {}), 3)
      << "only Plain.swf, Same.swf and kept.swf";
}

// The link question's check boxes and its two count-downs.
class LinkDialogTest : public LinkJobTest {
 protected:
  void SetUp() override {
    LinkJobTest::SetUp();
    fs::copy(fs::path(SKERRY_SOURCE_DIR) / "resources/program/Res", env.program / "Res");
    HeadlessInstall();
  }
  // Starts a dialog from the GUI thread: it stands once the call returns.
  Hwnd Open(int id) {
    LinkDialogTexts texts{"http://games.test/page.htm", "http://games.test/g.swf"};
    EXPECT_EQ(LinkDialog(id, 0x10001, &texts), -1);
    auto open = HeadlessDialogs(id);
    return open.empty() ? 0 : open.back();
  }
  int Result(Hwnd dialog) {
    HeadlessPump();
    HeadlessWindow info;
    HeadlessWindowInfo(dialog, &info);
    return info.dialogEnded ? info.dialogResult : -1;
  }
  void Tick(Hwnd dialog, int timer) {
    ASSERT_TRUE(HeadlessFireTimer(dialog, timer));
    HeadlessPump();
  }
  bool Checked(Hwnd dialog, int id) {
    return WinSendDlgItemMessage(dialog, id, BM_GETCHECK, 0, 0) == BST_CHECKED;
  }
  std::string Key(const char* key) {
    char value[ProfileValueSize];
    ProfileRead("Game", key, value, (env.program / "Define.ini").c_str());
    return value;
  }
};

TEST_F(LinkDialogTest, AutomaticDownloadBringsSaveToAndItsFolder) {
  Hwnd dialog = Open(1689);
  ASSERT_NE(dialog, 0u);
  HeadlessClick(dialog, 1003);
  HeadlessPump();
  EXPECT_TRUE(Checked(dialog, 1002));
  EXPECT_EQ(Key("CheckAuto"), "1");
  EXPECT_EQ(Key("CheckSave"), "1");
  WinSetControlText(dialog, 103, "/home/u/Game/chosen.swf");
  HeadlessClick(dialog, 1);
  EXPECT_EQ(Result(dialog), 1);
  EXPECT_EQ(CopyLinkFields().LinkSaveFolder, "/home/u/Game/chosen.swf");
}

TEST_F(LinkDialogTest, CountDownsFireOnDifferentTicks) {
  // The download fires on the tick that reaches 0.
  Hwnd dialog = Open(1689);
  WinSetControlText(dialog, 202, "1");
  WinSetTimer(dialog, 3, 1000);
  Tick(dialog, 3);
  EXPECT_EQ(WinGetControlText(dialog, 1003), "Auto download remilding 0.");
  EXPECT_EQ(Result(dialog), 6);

  // A count of 0 never fires: it runs on below 0.
  dialog = Open(1689);
  WinSetControlText(dialog, 202, "0");
  WinSetTimer(dialog, 3, 1000);
  Tick(dialog, 3);
  Tick(dialog, 3);
  EXPECT_EQ(WinGetControlText(dialog, 202), "-2");
  EXPECT_EQ(Result(dialog), -1);
  // Counts far outside int's range are read at a bound, never overflowed.
  for (const char* text : {"-2147483648", "99999999999999999999999"}) {
    WinSetControlText(dialog, 202, text);
    Tick(dialog, 3);
    EXPECT_EQ(WinGetControlText(dialog, 202), text[0] == '-' ? "-1000001" : "999999");
  }
  EXPECT_EQ(Result(dialog), -1);

  // The closing fires one tick after reaching 0.
  WinSetControlText(dialog, 203, "1");
  WinSetTimer(dialog, 4, 1000);
  Tick(dialog, 4);
  EXPECT_EQ(WinGetControlText(dialog, 203), "0");
  EXPECT_EQ(Result(dialog), -1);
  Tick(dialog, 4);
  EXPECT_EQ(Result(dialog), 0);
}

} // namespace
