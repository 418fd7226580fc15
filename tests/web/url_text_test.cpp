// Address text helpers: escapes, the colon rule, the end of a text cut short,
// and the one replacement.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "web/url_text.h"

namespace {

TEST(DecodeHexPair, ReadsEscapesOfEitherCase) {
  struct Row {
    const char* text;
    unsigned char byte;
  };
  const Row rows[] = {
      {"%41", 'A'}, {"%6a", 'j'}, {"%6A", 'j'},  {"x%41", 'x'},
      {"%", '%'},   {"%4", '%'},  {"%ff", 0xFF},
  };
  for (const Row& row : rows)
    EXPECT_EQ(DecodeHexPair(row.text), row.byte) << row.text;
}

TEST(DecodePercent, DecodesAndAppliesTheColonRule) {
  struct Row {
    const char* name;
    const char* source;
    const char* target;
    int result;
  };
  const Row rows[] = {
      {"scheme colon at 4 passes", "http%3A%2F%2Fa.test%2Fg.swf", "http://a.test/g.swf", 19},
      {"plus stays", "a+b%20c", "a+b c", 5},
      {"colon at 7 passes", "abcdefg:", "abcdefg:", 8},
      {"colon at 8 fails", "abcdefgh:x", "abcdefgh:x", 0},
      {"escaped colon at 8 fails", "abcdefgh%3ax", "abcdefgh:x", 0},
      {"port fails", "http://a.test:8080/x", "http://a.test:8080/x", 0},
      {"percent at the very end", "abc%", "abc%", 4},
      {"percent with one character behind it", "abc%4", "abc%4", 5},
      {"empty", "", "", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    char target[64];
    std::memset(target, '#', sizeof target);
    EXPECT_EQ(DecodePercent(row.source, target), row.result);
    EXPECT_STREQ(target, row.target);
  }
}

TEST(ReplaceInText, ReplacesTheFirstMatchIgnoringCaseWhenItFits) {
  struct Row {
    const char* name;
    std::string text;
    const char* find;
    const char* replacement;
    std::string after;
    int result;
  };
  const std::string a510(510, 'a');
  const Row rows[] = {
      {"page name", "http://g.test/flash_games.php?id=1", "flash_games.php", "flash_show.php",
       "http://g.test/flash_show.php?id=1", 33},
      {"case ignored", "http://g.test/FLASH_GAMES.PHP", "flash_games.php", "flash_show.php",
       "http://g.test/flash_show.php", 28},
      {"only the first", "aXbXc", "x", "yy", "ayybXc", 6},
      {"at the very end", "abc", "c", "DEF", "abDEF", 5},
      {"no match", "abc", "d", "e", "abc", 0},
      {"one over the size: refused", a510, "a", "bbb", a510, 0},
      {"filling the size", a510, "a", "bb", "bb" + a510.substr(1), 511},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    char text[UrlTextSize];
    std::snprintf(text, sizeof text, "%s", row.text.c_str());
    EXPECT_EQ(ReplaceInText(text, row.find, row.replacement), row.result);
    EXPECT_EQ(text, row.after);
  }
}

} // namespace
