// The server date: the token positions of a "Date:" text, and one query
// against a scripted loopback server that answers with an error page.
#include <gtest/gtest.h>

#include "tests/web/script_server.h"
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
    const char* name;
    std::string answer;
    std::uint32_t value;
  };
  const Row rows[] = {
      {"error page with a date",
       "HTTP/1.1 400 Bad Request\r\nServer: t\r\nDate: Sat, 15 Nov 2008 12:30:45 GMT\r\n\r\nbad",
       20081115},
      {"no Date line", "HTTP/1.1 200 OK\r\nServer: t\r\n\r\n", 0},
      {"a Date of the wrong form", "HTTP/1.1 200 OK\r\nDate: yesterday\r\n\r\n", 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ScriptServer server;
    std::string answer = row.answer;
    StartServer(server, [answer](const std::string&) { return ServerReply{{{answer}}}; });
    SetLoopbackRouteForTests("clock.test", server.port);
    testing::internal::CaptureStdout();
    EXPECT_EQ(ServerDate("clock.test"), row.value);
    testing::internal::GetCapturedStdout();
    StopServer(server);
    ASSERT_EQ(server.Requests().size(), 1u);
    EXPECT_EQ(server.Requests()[0].rfind("GET . HTTP/1.1\r\n", 0), 0u);
    EXPECT_NE(server.Requests()[0].find("Host: clock.test\r\n"), std::string::npos);
  }
  testing::internal::CaptureStdout();
  EXPECT_EQ(ServerDate("no-such-clock.invalid"), 0u);
  SetLoopbackRouteForTests("closed.test", ClosedPort());
  EXPECT_EQ(ServerDate("closed.test"), 0u);
  testing::internal::GetCapturedStdout();
  DropWebEnv(env);
}

TEST(ClockHost, IsReadFromTheSettings) {
  WebEnv env = MakeWebEnv("ClockHost=time.test\n");
  char host[512];
  ClockHost(host);
  EXPECT_STREQ(host, "time.test");
  DropWebEnv(env);
}

} // namespace
