// The browser program's command line, frames and carrier socket.
#include "browser/pane_protocol.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tests/carrier/carrier_fixture.h"

TEST(PaneArgs, CommandLinesOfTheLaunchTable) {
  struct Row {
    const char* name;
    std::vector<std::string> args;
    std::string target;
    bool isAddress;
    int slot;
  } rows[] = {
      {"path split at blanks", {"/my", "dir/Index.htm", "/h2"}, "/my dir/Index.htm", false, 2},
      {"address", {"/U=http://host/a?b=c d", "/h5"}, "http://host/a?b=c d", true, 5},
      {"slot twelve is refused", {"page.htm", "/h12"}, "page.htm", false, -1},
      {"nothing", {}, "", false, -1},
  };
  for (const Row& row : rows) {
    PaneArgs args = ParsePaneArgs(row.args);
    EXPECT_EQ(args.target, row.target) << row.name;
    EXPECT_EQ(args.isAddress, row.isAddress) << row.name;
    EXPECT_EQ(args.slot, row.slot) << row.name;
  }
  EXPECT_EQ(AnnouncementFor(3), 0u);          // 1047 is not handled by the Panel
  EXPECT_EQ(PaneHandleFor(0x20000), 0xFFFFu); // never 0, which means no window
}

TEST(PaneCarrier, OverlongSocketPathFallsBackToTmp) {
  std::string runtime = getenv("XDG_RUNTIME_DIR") ? getenv("XDG_RUNTIME_DIR") : "";
  std::string state = getenv("XDG_STATE_HOME") ? getenv("XDG_STATE_HOME") : "";
  unsetenv("XDG_RUNTIME_DIR");
  setenv("XDG_STATE_HOME", ("/" + std::string(120, 'x')).c_str(), 1);
  EXPECT_EQ(PaneCarrierPath(), "/tmp/skerry-" + std::to_string(getuid()) + "/panel.sock");
  setenv("XDG_STATE_HOME", state.c_str(), 1);
  setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
}

// Frames the program tests don't send or don't judge on the screen.
TEST(PaneFrames, WhatEachFrameAsksAndCarries) {
  struct Row {
    const char* line;
    bool player;
    PaneAction action;
  } rows[] = {
      {"SEND 273 32805 0", false, ActMute},
      {"POST 273 57680 0", false, ActNone},        // picture codes only on the image player
      {"POST 273 4295000075 0", false, ActReload}, // only the low 16 bits count
      {"WINDOW MOVE 1 2", false, ActNone},
      {"WINDOW EXPLODE 1", false, ActNone},
      {"POST 273", false, ActNone},
      {"POST 273 99999999999999999999999 0", false, ActNone},
  };
  for (const Row& row : rows)
    EXPECT_EQ(ActionFor(ParseFrame(row.line), row.player), row.action) << row.line;

  Frame move = ParseFrame("WINDOW MOVE -1 74 -1 396\r\n");
  ASSERT_EQ(move.count, 4);
  EXPECT_EQ(move.number[0], -1);
  EXPECT_EQ(ParseFrame("TEXT 2010 C:/a b/c.swf").text, "C:/a b/c.swf");
  EXPECT_EQ(ParseFrame("TEXT nope").kind, FrameUnknown);
  EXPECT_EQ(AddressText("a\nb\rc"), "a b c"); // a text can never end the frame early
  // The cut at 511 bytes drops a two-byte character across it whole.
  EXPECT_EQ(AddressText(std::string(510, 'a') + "\xC3\xA9" + "tail"), std::string(510, 'a'));
}

// A camera's card: pictures in DCIM and in its 100XXXXX folders, newest first; nothing
// deeper, nothing but pictures; an empty folder has none.
TEST(PanePictures, CameraFoldersNewestFirst) {
  namespace fs = std::filesystem;
  TempFolder temp("skerry-pictures");
  fs::path dcim = temp.path;
  auto put = [&](const std::string& file, int age) {
    fs::create_directories((dcim / file).parent_path());
    std::ofstream(dcim / file) << "x";
    fs::last_write_time(dcim / file, fs::file_time_type::clock::now() - std::chrono::hours(age));
  };
  put("old.jpg", 30);
  put("100CANON/IMG_0002.JPG", 1);
  put("100CANON/IMG_0001.jpeg", 2);
  put("101CANON/b.png", 5);
  put("101CANON/notes.txt", 0);
  put("101CANON/deeper/c.jpg", 0);
  EXPECT_EQ(
      FolderPictures(dcim.string()),
      (std::vector<std::string>{(dcim / "100CANON/IMG_0002.JPG").string(),
                                (dcim / "100CANON/IMG_0001.jpeg").string(),
                                (dcim / "101CANON/b.png").string(), (dcim / "old.jpg").string()}));
  EXPECT_TRUE(FolderPictures((dcim / "101CANON/deeper/none").string()).empty());
}
