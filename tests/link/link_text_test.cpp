// The link's file name, the shared status line, the clipboard watch, and the
// game save dialog through the headless backend's scripted answers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "games/cache_harvest.h"
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
      {"http://h/p?id=7", "id-7", "http://h/p?id-7"},              // no .swf behind '?'
      {"http://h/a%2F..%2Fb.swf", "b.swf", "http://h/a/../b.swf"}, // an escaped separator
      {"http://h/dir/", "", "http://h/dir/"},                      // nothing behind the slash
      {"x.swf?a%3db", "x.swf?a-b", "x.swf"},                       // no slash: the whole text
      {"http://h/z%00.swf", "z", "http://h/z"},                    // an escaped end mark
      {"http://h/cut%2", "cut%2", "http://h/cut%2"},               // an escape cut short
      {"http://h/a%0Ab%0D%09c%1B[1m.swf", "a_b__c_[1m.swf", "http://h/a_b__c_[1m.swf"},
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
  for (const char* name : {"a.swf", "b.swf", "c.swf"})
    EXPECT_EQ(AddStatusName(line, name), name);
  EXPECT_EQ(line, "Downloading a.swf, b.swf, c.swf");
  RemoveStatusName(line, "b.swf"); // behind ", "
  RemoveStatusName(line, "a.swf"); // first, with a name behind it
  EXPECT_EQ(line, "Downloading c.swf");
  RemoveStatusName(line, "c.swf");
  EXPECT_EQ(line, "");
  line = "Downloading a.swf, a"; // only whole names count
  RemoveStatusName(line, "a");
  EXPECT_EQ(line, "Downloading a.swf");

  // The line never passes 259 bytes: a name that doesn't fit goes unnamed,
  // a first name too long is shortened and still found again.
  line.clear();
  std::string shown = AddStatusName(line, std::string(300, 'n'));
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
  const std::string link = "http://games.test/page.htm", other = "some words";
  const std::string earlier = "http://games.test/earlier.htm";
  HeadlessSetClipboard(&earlier, true);
  TakeClipboardAsSeen(); // copied before the start
  EXPECT_EQ(copy(&earlier), 0);
  EXPECT_EQ(copy(&link), 1);
  EXPECT_STREQ(text, link.c_str());
  EXPECT_EQ(copy(&link), 0);  // the same text again
  EXPECT_EQ(copy(&other), 0); // not a link, and it doesn't reset the watch
  EXPECT_EQ(copy(&link), 0);
  const std::string refused[] = {"HTTPS://games.test/c.htm", "http://games.test/d.htm\nmore",
                                 std::string("http://games.test/e.htm\0x", 25),
                                 "http://games.test/" + std::string(494, 'x')}; // 512 bytes
  for (const std::string& clip : refused)
    EXPECT_EQ(copy(&clip), 0) << clip.size();
  EXPECT_EQ(copy(nullptr), 0); // no text
  const std::string secure = "https://games.test/b.htm";
  EXPECT_EQ(copy(&secure, false), 0); // busy: tried again at the next tick
  EXPECT_EQ(copy(&secure), 1);
  EXPECT_EQ(Panel().LastClipboardText, secure);
}

const char GameFilter[] = "Game Files (*.swf;*.htm)\0*.swf;*.htm\0All Files (*.*)\0*.*\0";

TEST(SaveGameDialog, CleansTheProposalAsksWithItAndReturnsAPathThatFits) {
  struct Row {
    const char* name;
    const char* proposed;
    std::string answer = ""; // the path chosen; empty: cancelled
    std::string after = "";  // the buffer afterwards when it isn't the proposal
  } rows[] = {
      {"a%20b[1].swf", "a-b[1].swf"},   // escaped blank; the bracketed number stays
      {"x=1 y%3d.swf", "x-1-y-.swf"},   // '=' and blank, plain and escaped
      {"%2e%2e%2fup.swf", "..-up.swf"}, // an escaped separator stays in the name
      {"..%5c..%2F", "..-..-"},         // both separators
      {"..", ""},                       // dots alone propose nothing
      {"cut%4", "cut%4"},               // an escape cut short is copied
      {"zero%00tail.swf", "zero"},      // a NUL ends the name
      {"g.swf", "g.swf", "/home/u/Game/chosen.swf", "/home/u/Game/chosen.swf"},
      {"g.swf", "g.swf", std::string(256, 'x')}, // no room for its end mark: refused
  };
  for (const Row& row : rows) {
    HeadlessInstall();
    HeadlessScriptSaveAnswers({row.answer});
    char name[256];
    std::strcpy(name, row.name);
    bool chosen = SaveGameDialog(0x10007, "Save game to", GameFilter, name, sizeof name, "/p/Game");
    EXPECT_EQ(chosen, !row.after.empty()) << row.name;
    EXPECT_EQ(name, row.after.empty() ? row.proposed : row.after) << row.name;
    auto asks = HeadlessSaveAsks();
    ASSERT_EQ(asks.size(), 1u);
    EXPECT_EQ(asks[0].name, row.proposed);
  }
  EXPECT_EQ(HeadlessSaveAsks()[0].folder, "/p/Game");
}

TEST(SaveGameDialog, TheAppendedEnding) {
  struct Row {
    const char* path;
    const char* patterns;
    const char* result;
  } cases[] = {
      {"/g/name", "*.swf;*.htm", "/g/name.swf"},
      {"/g/name.htm", "*.swf", "/g/name.htm"},
      {"/g.d/name", "*.swf", "/g.d/name.swf"},
      {"/g/name", "*.*", "/g/name"},
      {"/g/", "*.swf", "/g/"},
  };
  for (const Row& c : cases)
    EXPECT_EQ(WithPatternEnding(c.path, c.patterns), c.result) << c.path << " " << c.patterns;
}

} // namespace
