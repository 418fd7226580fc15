// The HTTP fetcher against a scripted loopback server (named in the hosts
// table), which plays answers byte by byte: every kind of answer it must
// read, the redirect report and the request it sends. Its failures are in
// the failure table of url_download_test.cpp.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>

#include "tests/web/script_server.h"
#include "tests/web/web_env.h"
#include "web/fetcher.h"

namespace {

using Clock = std::chrono::steady_clock;

struct FetchRow {
  const char* name;
  ServerReply reply;
  std::string expected; // the file afterwards
};

class FetchTest : public testing::Test {
 protected:
  void SetUp() override { env = MakeWebEnv(); }
  void TearDown() override {
    StopServer(server);
    DropWebEnv(env);
  }
  // Serves reply for site.test and fetches url into the file "out".
  int Fetch(const ServerReply& reply, const char* url, char* path) {
    StartServer(server, [reply](const std::string&) { return reply; });
    std::filesystem::create_directories(env.root / "system");
    WriteWhole((env.root / "system/hosts.ini").string(),
               "[Hosts]\nsite.test=127.0.0.1:" + std::to_string(server.port) + "\n");
    std::snprintf(path, FetchPathSize, "%s", env.File("out").c_str());
    return FetchToFile(url, path);
  }
  WebEnv env;
  ScriptServer server;
};

const char* const Head = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n";

TEST_F(FetchTest, SavesEachKindOfAnswer) {
  std::string chunkedHead = std::string(Head) + "Transfer-Encoding: chunked\r\n\r\n";
  std::string noLength = "HTTP/1.0 200 OK\r\nServer: test\r\n\r\n";
  std::string big(20000, 'x');
  const FetchRow rows[] = {
      {"plain length",
       {{{std::string(Head) + "Content-Length: 11\r\n\r\nhello world"}}},
       "hello world"},
      {"length smaller than the body",
       {{{std::string(Head) + "Content-Length: 5\r\n\r\nhello world"}}},
       "hello"},
      {"length over several blocks",
       {{{std::string(Head) + "Content-Length: 11\r\n\r\nhel", 100}, {"lo world"}}},
       "hello world"},
      {"headers alone in the first block",
       {{{std::string(Head) + "Content-Length: 11\r\n\r\n", 150}, {"hello world"}}},
       ""},
      {"chunked, several chunks, server keeps the line open",
       {{{chunkedHead + "5\r\nhello\r\n", 50}, {"6\r\n world\r\n", 50}, {"0\r\n\r\n"}}, true},
       "hello world"},
      {"chunked, a bad next size ends it",
       {{{chunkedHead + "5\r\nhello\r\nzz\r\nnot this"}}, true},
       "hello"},
      {"chunked, a chunk larger than one block",
       {{{chunkedHead + "4e20\r\n", 0, 20000}, {"\r\n3\r\nend\r\n0\r\n\r\n"}}, true},
       big + "end"},
      {"no length, server closes",
       {{{noLength + "plain body", 50}, {" and more"}}},
       noLength + "plain body and more"},
      {"no length, keep-alive ended by 0 CRLF CRLF",
       {{{noLength + "first part", 100}, {" last0\r\n\r\n"}}, true},
       noLength + "first part last0\r\n\r\n"},
      {"another status is saved like a page",
       {{{"HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone"}}},
       "gone"},
      {"Content-Length: in a chunked page is taken for the header",
       {{{chunkedHead + "14\r\nContent-Length: 3 ab\r\n0\r\n\r\n"}}, true},
       "14\r"},
  };
  // The first row replaces a read-only file.
  WriteWhole(env.File("out"), "old text that is longer than the first row's");
  chmod(env.File("out").c_str(), 0444);
  for (const FetchRow& row : rows) {
    SCOPED_TRACE(row.name);
    char path[FetchPathSize];
    auto start = Clock::now();
    EXPECT_EQ(Fetch(row.reply, "http://site.test/page.htm", path), FetchDone);
    // Every row ends by its own data, long before the 2 s time-out.
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1500));
    EXPECT_EQ(ReadWhole(path), row.expected);
    ResetServer(server);
  }
}

TEST_F(FetchTest, ReportsSeeOther) {
  struct Row {
    const char* name;
    std::string answer;
    int result;
    std::string path; // empty: the path stays
  };
  const Row rows[] = {
      {"in the status line",
       "HTTP/1.1 303 See Other\r\nLocation: http://other.test/next?a=1\r\nContent-Length: "
       "0\r\n\r\n",
       FetchSeeOther, "http://other.test/next?a=1"},
      {"only in the page text",
       std::string(Head) +
           "Content-Length: 60\r\n\r\n<p>303 See Other</p>Location:\thttp://b.test/x\r\n",
       FetchSeeOther, "http://b.test/x"},
      {"without a Location", std::string(Head) + "Content-Length: 20\r\n\r\n<p>303 See Other</p>",
       FetchSeeOtherNowhere, ""},
      {"Location too long for the buffer",
       "HTTP/1.1 303 See Other\r\nLocation: http://c.test/" + std::string(600, 'a') + "\r\n\r\n",
       FetchSeeOtherTooLong, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    char path[FetchPathSize];
    EXPECT_EQ(Fetch({{{row.answer}}}, "http://site.test/p", path), row.result);
    EXPECT_EQ(std::string(path), row.path.empty() ? env.File("out") : row.path);
    EXPECT_EQ(ReadWhole(env.File("out")), "");
    EXPECT_TRUE(std::filesystem::exists(env.File("out")));
    ResetServer(server);
  }
}

TEST_F(FetchTest, SendsTheRequestOfTheTemplate) {
  struct Row {
    const char* name;
    const char* url;
    const char* line; // the request line
  };
  const Row rows[] = {
      {"scheme and path", "http://site.test/dir/page.htm?x=1", "GET /dir/page.htm?x=1 HTTP/1.1"},
      {"no double slash: host and path as they stand", "site.test/a/b", "GET /a/b HTTP/1.1"},
      {"no path asks for /", "http://site.test", "GET / HTTP/1.1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    char path[FetchPathSize];
    testing::internal::CaptureStdout();
    EXPECT_EQ(Fetch(PlainReply("x"), row.url, path), FetchDone);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "The Socket was created\nThe connection was accepted with the server 127.0.0.1...\n");
    ASSERT_EQ(server.Requests().size(), 1u);
    EXPECT_EQ(server.Requests()[0],
              std::string(row.line) +
                  "\r\nContent-type: text/html\r\nHost: site.test\r\nAccept: text/html, "
                  "*/*\r\nUser-Agent: GetHTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n");
    ResetServer(server);
  }
}

TEST_F(FetchTest, GivesUpOnAServerThatNeitherSendsNorCloses) {
  char path[FetchPathSize];
  auto start = Clock::now();
  EXPECT_EQ(Fetch({{}, true}, "http://site.test/p", path), FetchDone);
  auto spent = Clock::now() - start;
  EXPECT_GE(spent, std::chrono::milliseconds(1500));
  EXPECT_LT(spent, std::chrono::seconds(10));
  EXPECT_EQ(ReadWhole(env.File("out")), "");
}

TEST(ParseChunkSize, ReadsHexLines) {
  struct Row {
    const char* text;
    std::uint32_t value;
  };
  const Row rows[] = {
      {"1A\r\n", 26},           {"0\r\n", 0},     {"fFfF", 0xFFFF}, {"", 0xFFFFFFFF},
      {"10;ext=1", 0xFFFFFFFF}, {"100000001", 1}, // wraps at 32 bits
  };
  for (const Row& row : rows)
    EXPECT_EQ(ParseChunkSize(row.text), row.value) << row.text;
}

} // namespace
