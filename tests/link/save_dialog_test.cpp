// The game save dialog through the headless backend's scripted answers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "games/cache_harvest.h"
#include "platform/headless/headless.h"

namespace {

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
      {"/g/name", "*", "/g/name"},
      {"/g/", "*.swf", "/g/"},
  };
  for (const Row& c : cases)
    EXPECT_EQ(WithPatternEnding(c.path, c.patterns), c.result) << c.path << " " << c.patterns;
}

} // namespace
