// The game save dialog through the headless backend's scripted answers.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "games/cache_harvest.h"
#include "platform/headless/headless.h"

namespace {

const char GameFilter[] = "Game Files (*.swf;*.htm)\0*.swf;*.htm\0All Files (*.*)\0*.*\0";

TEST(SaveGameDialog, CleansTheProposalAndAsksWithFilterAndFolder) {
  struct Row {
    const char* name;
    const char* proposed;
  } rows[] = {
      {"a%20b[1].swf", "a-b[1].swf"},   // escaped blank; the bracketed number stays
      {"x=1 y%3d.swf", "x-1-y-.swf"},   // '=' and blank, plain and escaped
      {"%2e%2e%2fup.swf", "..-up.swf"}, // an escaped separator stays in the name
      {"..%5c..%2F", "..-..-"},         // both separators
      {"..", ""},                       // dots alone propose nothing
      {"cut%4", "cut%4"},               // an escape cut short is copied
      {"zero%00tail.swf", "zero"},      // a NUL ends the name
  };
  for (const Row& row : rows) {
    HeadlessInstall();
    HeadlessScriptSaveAnswers({""});
    char name[256];
    std::strcpy(name, row.name);
    EXPECT_EQ(SaveGameDialog(0x10007, "Save game to", GameFilter, name, sizeof name, "/p/Game"), 0)
        << row.name;
    EXPECT_STREQ(name, row.proposed) << row.name;
    auto asks = HeadlessSaveAsks();
    ASSERT_EQ(asks.size(), 1u);
    EXPECT_EQ(asks[0].name, row.proposed);
  }
  EXPECT_EQ(HeadlessSaveAsks()[0].folder, "/p/Game");
}

TEST(SaveGameDialog, ReturnsTheChosenPathOnlyWhenItFits) {
  HeadlessInstall();
  HeadlessScriptSaveAnswers({"/home/u/Game/chosen.swf", std::string(40, 'x')});
  char name[32] = "g.swf";
  EXPECT_NE(SaveGameDialog(0, "t", GameFilter, name, sizeof name, "/p"), 0);
  EXPECT_STREQ(name, "/home/u/Game/chosen.swf");
  // Too long for the caller's buffer: refused, the buffer holds the proposal.
  std::strcpy(name, "g.swf");
  EXPECT_EQ(SaveGameDialog(0, "t", GameFilter, name, sizeof name, "/p"), 0);
  EXPECT_STREQ(name, "g.swf");
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
