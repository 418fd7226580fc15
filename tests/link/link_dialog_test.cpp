// The link question on the headless backend: the animation carried from
// dialog to dialog, the check box rules and the two count-downs. Its picture
// button is pressed on the real program in link_road_x11.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "games/link_dialog.h"
#include "platform/headless/headless.h"
#include "shell/settings.h"
#include "tests/web/web_env.h"

namespace fs = std::filesystem;

namespace {

class LinkDialogTest : public testing::Test {
 protected:
  void SetUp() override {
    env = MakeWebEnv("[Game]\n");
    fs::copy(fs::path(SKERRY_SOURCE_DIR) / "resources/program/Res", env.program / "Res");
    HeadlessInstall();
  }
  void TearDown() override { DropWebEnv(env); }
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
  LParam Picture(Hwnd dialog) { return WinSendDlgItemMessage(dialog, 1, BM_GETIMAGE, 0, 0); }
  bool Checked(Hwnd dialog, int id) {
    return WinSendDlgItemMessage(dialog, id, BM_GETCHECK, 0, 0) == BST_CHECKED;
  }
  std::string Key(const char* key) {
    char value[ProfileValueSize];
    ProfileRead("Game", key, value, (env.program / "Define.ini").c_str());
    return value;
  }
  WebEnv env;
};

TEST_F(LinkDialogTest, AnimationGoesOnFromTheLastDialogsFrame) {
  LinkFrameIndex = 2; // left there by an earlier dialog
  Hwnd dialog = Open(1688);
  ASSERT_NE(dialog, 0u);
  LParam first = Picture(dialog);
  ASSERT_NE(first, 0);
  Tick(dialog, 2); // frame 0 was shown, the index goes on from 2 to 3
  EXPECT_EQ(LinkFrameIndex, 3);
  EXPECT_NE(Picture(dialog), first);
  Tick(dialog, 2);
  EXPECT_EQ(LinkFrameIndex, 0);
  EXPECT_EQ(Picture(dialog), first);
  HeadlessClick(dialog, 2); // Esc and the close box
  EXPECT_EQ(Result(dialog), 0);
}

TEST_F(LinkDialogTest, CheckBoxesExcludeEachOtherAndWriteTheirKeys) {
  Hwnd dialog = Open(1689);
  ASSERT_NE(dialog, 0u);
  HeadlessClick(dialog, 1004);
  HeadlessPump();
  EXPECT_EQ(Key("CheckClose"), "1");
  HeadlessClick(dialog, 1003); // on: brings "Save to", clears automatic closing
  HeadlessPump();
  EXPECT_TRUE(Checked(dialog, 1002));
  EXPECT_FALSE(Checked(dialog, 1004));
  EXPECT_EQ(Key("CheckAuto"), "1");
  EXPECT_EQ(Key("CheckSave"), "1");
  EXPECT_EQ(Key("CheckClose"), "0");
  HeadlessClick(dialog, 1002); // off: takes the automatic download with it
  HeadlessPump();
  EXPECT_FALSE(Checked(dialog, 1003));
  EXPECT_EQ(Key("CheckSave"), "0");
  EXPECT_EQ(Key("CheckAuto"), "0");
  HeadlessClick(dialog, 1002);
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
  EXPECT_EQ(WinGetControlText(dialog, 1004), "Auto close remilding 0.");
  EXPECT_EQ(WinGetControlText(dialog, 203), "0");
  EXPECT_EQ(Result(dialog), -1);
  Tick(dialog, 4);
  EXPECT_EQ(Result(dialog), 0);
}

} // namespace
