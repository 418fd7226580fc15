// The tokens of a "Date:" text. The date is read from a clock host's error
// answer in the collect run, and its failures in url_download_test.cpp.
#include <gtest/gtest.h>

#include "web/server_date.h"

namespace {

TEST(ParseServerDate, ReadsTheTokensOfADateHeader) {
  const std::pair<const char*, std::uint32_t> rows[] = {
      {"Sat, 15 Nov 2008 12:30:45 GMT", 20081115},
      {"Sat, 5 Nov 2008 12:30:45 GMT", 20081105},
      {"Sat, 15 nov 08 12:30:45 GMT", 20081115}, // two-digit year, month case ignored
      {"Sat, 15 Nov 2008 12:30", 20081115},      // four tokens
      {"15 Nov 2008 12:30:45 GMT", 20081115},    // no comma: the first word is the day
      {"Sat, 15 Nov 2008", 0},                   // three tokens
      {"Sat, 15-Nov-2008 12:30:45 GMT", 0},
      {"Sat, 15 Foo 2008 12:30:45 GMT", 0},
      {"Sat 15 Nov 2008 12:30:45 GMT", 0}, // no comma: "Sat" is the day, "15" no month
      {"yesterday", 0},
      {"", 0},
  };
  for (const auto& [text, value] : rows)
    EXPECT_EQ(ParseServerDate(text), value) << text;
}

} // namespace
