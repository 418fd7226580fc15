// The link's file name, the shared status line and the clipboard watch.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "games/link_download.h"
#include "panel/panel_state.h"
#include "platform/headless/headless.h"

namespace {

TEST(LinkName, DecodesAndCutsTheName) {
  struct Row {
    const char* link;
    const char* name;
    const char* path; // the decoded path after the cut
  } rows[] = {
      {"http://h/g/a%20b.swf?q=1", "a-b.swf", "http://h/g/a-b.swf"},
      {"http://h/play?file=abc.swf&y=2", "file-abc.swf", "http://h/play?file-abc.swf&y-2"},
      {"http://h/x/GAME.SWF?a=b", "GAME.SWF", "http://h/x/GAME.SWF"},
      {"http://h/p?id=7", "id-7", "http://h/p?id-7"},              // no .swf behind '?'
      {"http://h/a%2F..%2Fb.swf", "b.swf", "http://h/a/../b.swf"}, // an escaped separator
      {"http://h/dir/", "", "http://h/dir/"},                      // nothing behind the slash
      {"x.swf?a%3db", "x.swf?a-b", "x.swf"},                       // no slash: the whole text
      {"http://h/z%00.swf", "z", "http://h/z"},                    // an escaped end mark
      {"http://h/cut%2", "cut%2", "http://h/cut%2"},               // an escape cut short
  };
  for (const Row& row : rows) {
    char path[260], name[260] = "junk";
    std::strcpy(path, row.link);
    CutLinkName(path, name);
    EXPECT_STREQ(name, row.name) << row.link;
    EXPECT_STREQ(path, row.path) << row.link;
  }
}

TEST(LinkStatus, NamesComeAndGoWithoutTouchingOthers) {
  std::string line;
  EXPECT_EQ(AddStatusName(line, "a.swf"), "a.swf");
  EXPECT_EQ(line, "Downloading a.swf");
  AddStatusName(line, "b.swf");
  AddStatusName(line, "c.swf");
  EXPECT_EQ(line, "Downloading a.swf, b.swf, c.swf");
  RemoveStatusName(line, "b.swf"); // behind ", "
  EXPECT_EQ(line, "Downloading a.swf, c.swf");
  RemoveStatusName(line, "a.swf"); // first, with a name behind it
  EXPECT_EQ(line, "Downloading c.swf");
  RemoveStatusName(line, "c.swf");
  EXPECT_EQ(line, "");

  // Only whole names count: "a" stands inside "Downloading" and "a.swf".
  line = "Downloading a.swf, a";
  RemoveStatusName(line, "a");
  EXPECT_EQ(line, "Downloading a.swf");

  // Another job's line is appended to as it stands.
  line = "Top list 3";
  AddStatusName(line, "d.swf");
  EXPECT_EQ(line, "Top list 3, d.swf");
  RemoveStatusName(line, "d.swf");
  EXPECT_EQ(line, "Top list 3");

  // The line never passes 259 bytes: a name that doesn't fit goes unnamed,
  // a first name too long is shortened and still found again.
  line.clear();
  std::string longName(300, 'n');
  std::string shown = AddStatusName(line, longName);
  EXPECT_EQ(line.size(), 259u);
  EXPECT_EQ(AddStatusName(line, "e.swf"), "");
  EXPECT_EQ(line.size(), 259u);
  RemoveStatusName(line, shown);
  EXPECT_EQ(line, "");
}

TEST(ClipboardWatch, NewLinksOnly) {
  HeadlessInstall();
  ResetPanelState(Panel());
  char text[512];
  auto copy = [&](const std::string* clip, bool readable = true) {
    HeadlessSetClipboard(clip, readable);
    std::strcpy(text, "");
    return WatchClipboard(text);
  };
  const std::string link = "http://games.test/page.htm";
  const std::string other = "some words";
  EXPECT_EQ(copy(&link), 1);
  EXPECT_STREQ(text, link.c_str());
  EXPECT_EQ(copy(&link), 0);  // the same text again
  EXPECT_EQ(copy(&other), 0); // not a link, and it doesn't reset the watch
  EXPECT_EQ(copy(&link), 0);

  const std::string secure = "https://games.test/b.htm";
  const std::string capitals = "HTTP://games.test/c.htm";
  const std::string broken = "http://games.test/d.htm\nmore";
  const std::string nul = std::string("http://games.test/e.htm\0x", 25);
  const std::string huge = "http://games.test/" + std::string(494, 'x'); // 512 bytes
  EXPECT_EQ(copy(&capitals), 0);
  EXPECT_EQ(copy(&broken), 0);
  EXPECT_EQ(copy(&nul), 0);
  EXPECT_EQ(copy(&huge), 0);
  EXPECT_EQ(copy(nullptr), 0);        // no text
  EXPECT_EQ(copy(&secure, false), 0); // busy: tried again at the next tick
  EXPECT_EQ(copy(&secure), 1);
  EXPECT_EQ(Panel().LastClipboardText, secure);
}

} // namespace
