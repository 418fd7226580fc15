// The browser program's command line, frames and action table.
#include "browser/pane_protocol.h"

#include <gtest/gtest.h>

#include <unistd.h>

TEST(PaneArgs, CommandLinesOfTheLaunchTable) {
  struct Row {
    const char* name;
    std::vector<std::string> args;
    std::string target;
    bool isAddress;
    int slot;
  };
  const Row rows[] = {
      {"start page", {"/p/Web/iStart.htm", "/h2"}, "/p/Web/iStart.htm", false, 2},
      {"path split at blanks", {"/my", "dir/Index.htm", "/h2"}, "/my dir/Index.htm", false, 2},
      {"address", {"/U=http://host/a?b=c d", "/h5"}, "http://host/a?b=c d", true, 5},
      {"slot ten", {"page.htm", "/h10"}, "page.htm", false, 10},
      {"slot twelve is refused", {"page.htm", "/h12"}, "page.htm", false, -1},
      {"switch first", {"/h0", "/p/iClock.htm"}, "/p/iClock.htm", false, 0},
      {"nothing", {}, "", false, -1},
      {"not a switch", {"/hx", "/h2"}, "/hx", false, 2},
  };
  for (const Row& row : rows) {
    PaneArgs args = ParsePaneArgs(row.args);
    EXPECT_EQ(args.target, row.target) << row.name;
    EXPECT_EQ(args.isAddress, row.isAddress) << row.name;
    EXPECT_EQ(args.slot, row.slot) << row.name;
  }
}

TEST(PaneArgs, AnnouncementsAndHandles) {
  EXPECT_EQ(AnnouncementFor(0), 1044u);
  EXPECT_EQ(AnnouncementFor(2), 1046u);
  EXPECT_EQ(AnnouncementFor(3), 0u); // 1047 is not handled by the Panel
  EXPECT_EQ(AnnouncementFor(11), 0u);
  EXPECT_EQ(AnnouncementFor(-1), 0u);
  EXPECT_EQ(PaneHandleFor(0x12345), 0x2345u);
  EXPECT_EQ(PaneHandleFor(0x20000), 0xFFFFu); // never 0, which means no window
}

TEST(PaneCarrier, SocketPathFollowsTheRuntimeFolder) {
  std::string runtime = getenv("XDG_RUNTIME_DIR") ? getenv("XDG_RUNTIME_DIR") : "";
  setenv("XDG_RUNTIME_DIR", "/run/user/77", 1);
  EXPECT_EQ(PaneCarrierPath(), "/run/user/77/skerry/panel.sock");
  unsetenv("XDG_RUNTIME_DIR");
  std::string state = getenv("XDG_STATE_HOME") ? getenv("XDG_STATE_HOME") : "";
  setenv("XDG_STATE_HOME", "/home/me/.state", 1);
  EXPECT_EQ(PaneCarrierPath(), "/home/me/.state/skerry/run/panel.sock");
  setenv("XDG_STATE_HOME", ("/" + std::string(120, 'x')).c_str(), 1);
  EXPECT_EQ(PaneCarrierPath(), "/tmp/skerry-" + std::to_string(getuid()) + "/panel.sock");
  setenv("XDG_STATE_HOME", state.c_str(), 1);
  setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
}

TEST(PaneFrames, WhatEachFrameAsks) {
  struct Row {
    const char* line;
    bool player;
    PaneAction action;
  };
  const Row rows[] = {
      {"POST 273 32779 0", false, ActReload},
      {"POST 273 32787 0", false, ActBack},
      {"SEND 273 32805 0", false, ActMute},
      {"POST 18 0 0", false, ActQuit},
      {"SEND 274 61488 0", false, ActFillScreen},
      {"SEND 274 61472 0", false, ActReturnToPanel},
      {"SEND 274 61456 0", false, ActNone},
      {"POST 273 57680 0", true, ActNextPicture},
      {"POST 273 32777 0", true, ActPause},
      {"POST 273 57680 0", false, ActNone}, // picture codes only on the image player
      {"POST 273 32778 0", false, ActNone},
      {"POST 273 4295000075 0", false, ActReload}, // only the low 16 bits count
      {"WINDOW RAISE", false, ActRaise},
      {"WINDOW TOPMOST 1", false, ActTopmost},
      {"WINDOW MOVE 122 20 396 310", false, ActMove},
      {"WINDOW MOVE 1 2", false, ActNone},
      {"WINDOW EXPLODE 1", false, ActNone},
      {"POST 273", false, ActNone},
      {"POST 273 99999999999999999999999 0", false, ActNone},
      {"RET 0", false, ActNone},
  };
  for (const Row& row : rows)
    EXPECT_EQ(ActionFor(ParseFrame(row.line), row.player), row.action) << row.line;
}

TEST(PaneFrames, FieldsAndAddressText) {
  Frame move = ParseFrame("WINDOW MOVE -1 74 -1 396\r\n");
  EXPECT_EQ(move.op, "MOVE");
  ASSERT_EQ(move.count, 4);
  EXPECT_EQ(move.number[0], -1);
  Frame text = ParseFrame("TEXT 2010 C:/a b/c.swf");
  EXPECT_EQ(text.kind, FrameText);
  EXPECT_EQ(text.text, "C:/a b/c.swf");
  EXPECT_EQ(ParseFrame("TEXT nope").kind, FrameUnknown);

  EXPECT_EQ(AddressText("a\nb\rc"), "a b c"); // a text can never end the frame early
  std::string longAddress = "http://h/" + std::string(600, 'x');
  EXPECT_EQ(AddressText(longAddress), longAddress.substr(0, 511));
  // A two-byte character across the cut is dropped whole.
  std::string wide = std::string(510, 'a') + "\xC3\xA9" + "tail";
  EXPECT_EQ(AddressText(wide), std::string(510, 'a'));
}
