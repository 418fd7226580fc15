// The server date: the token positions of a "Date:" text, and the query of a
// clock host on the test web, which answers its odd request with an error.
#include <gtest/gtest.h>

#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/server_date.h"

namespace {

TEST(ParseServerDate, ReadsTheTokensOfADateHeader) {
  struct Row {
    const char* text;
    std::uint32_t value;
  };
  const Row rows[] = {
      {"Sat, 15 Nov 2008 12:30:45 GMT", 20081115},
      {"Sat, 5 Nov 2008 12:30:45 GMT", 20081105}, // one-digit day
      {"Sat, 15 nov 08 12:30:45 GMT", 20081115},  // two-digit year, month case ignored
      {"Sat, 15 Nov 2008 12:30", 20081115},       // four tokens
      {"15 Nov 2008 12:30:45 GMT", 20081115},     // no comma: the first word is the day
      {"Sat, 15 Nov 2008", 0},                    // three tokens
      {"Sat, 15-Nov-2008 12:30:45 GMT", 0},       // dashes: too few tokens
      {"Sat, 15 Foo 2008 12:30:45 GMT", 0},       // no month
      {"Sat 15 Nov 2008 12:30:45 GMT", 0},        // no comma: "Sat" is the day, "15" no month
      {"", 0},
  };
  for (const Row& row : rows)
    EXPECT_EQ(ParseServerDate(row.text), row.value) << row.text;
}

TEST(ServerDate, ReadsTheDateLineOfAnyAnswer) {
  WebEnv env = MakeWebEnv();
  struct Row {
    const char* host;
    const char* date; // the rule of the answer
    std::uint32_t value;
  };
  const Row rows[] = {
      {"error.test", "date=Sat, 15 Nov 2008 12:30:45 GMT", 20081115},
      {"none.test", "date=none", 0},
      {"odd.test", "date=yesterday", 0},
  };
  {
    TestWeb web;
    for (const Row& row : rows)
      web.Answer(row.host, "*", {"status=400", row.date, "body=bad"});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"error.test", "none.test", "odd.test"});
    for (const Row& row : rows) {
      SCOPED_TRACE(row.host);
      testing::internal::CaptureStdout();
      EXPECT_EQ(ServerDate(row.host), row.value);
      testing::internal::GetCapturedStdout();
      EXPECT_EQ(web.Count(row.host, "."), 1);
    }
  }
  DropWebEnv(env);
}

} // namespace
