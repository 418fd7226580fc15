// Address text helpers (escapes, the colon rule, the one replacement) and the tokens of a
// "Date:" text, whose fetch fails in url_download_test.cpp and succeeds in the collect run.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "web/server_date.h"
#include "web/url_text.h"

namespace {

TEST(DecodePercent, DecodesAndAppliesTheColonRule) {
  struct Row {
    const char *source, *target;
    int result;
  } rows[] = {
      {"http%3A%2F%2Fa.test%2Fg.swf", "http://a.test/g.swf", 19}, // scheme colon at 4
      {"abcdefg:", "abcdefg:", 8},                                // a colon at 7 passes
      {"abcdefgh:x", "abcdefgh:x", 0},                            // at 8 fails
      {"abcdefgh%3ax", "abcdefgh:x", 0},                          // escaped too
      {"http://a.test:8080/x", "http://a.test:8080/x", 0},        // a port fails
      {"abc%", "abc%", 4},
      {"abc%4", "abc%4", 5},
      {"%6a%6A", "jj", 2},
      {"", "", 0},
  };
  for (const Row& row : rows) {
    char target[64];
    std::memset(target, '#', sizeof target);
    EXPECT_EQ(DecodePercent(row.source, target), row.result) << row.source;
    EXPECT_STREQ(target, row.target);
  }
}

TEST(ReplaceInText, ReplacesTheFirstMatchIgnoringCaseWhenItFits) {
  struct Row {
    std::string text;
    const char *find, *replacement;
    std::string after;
    int result;
  };
  const std::string a510(510, 'a');
  const Row rows[] = {
      {"http://g.test/FLASH_GAMES.PHP?id=1", "flash_games.php", "flash_show.php",
       "http://g.test/flash_show.php?id=1", 33},
      {"aXbXc", "x", "yy", "ayybXc", 6},
      {"abc", "d", "e", "abc", 0},
      {a510, "a", "bbb", a510, 0}, // one over the size: refused
      {a510, "a", "bb", "bb" + a510.substr(1), 511},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text.substr(0, 40));
    char text[UrlTextSize];
    std::snprintf(text, sizeof text, "%s", row.text.c_str());
    EXPECT_EQ(ReplaceInText(text, row.find, row.replacement), row.result);
    EXPECT_EQ(text, row.after);
  }
}

TEST(ParseServerDate, ReadsTheTokensOfADateHeader) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"Sat, 15 Nov 2008 12:30:45 GMT", 20081115},
      {"Sat, 5 Nov 2008 12:30:45 GMT", 20081105},
      {"Sat, 15 nov 08 12:30:45 GMT", 20081115}, // two-digit year, month case ignored
      {"Sat, 15 Nov 2008 12:30", 20081115},      // four tokens
      {"15 Nov 2008 12:30:45 GMT", 20081115},    // no comma: the first word is the day
      {"Sat, 15 Nov 2008", 0},                   // three tokens
      {"Sat, 15-Nov-2008 12:30:45 GMT", 0},
      {"Sat 15 Nov 2008 12:30:45 GMT", 0}, // no comma: "Sat" is the day, "15" no month
      {"", 0},
  };
  for (const auto& [text, value] : rows)
    EXPECT_EQ(ParseServerDate(text), value) << text;
}

} // namespace
