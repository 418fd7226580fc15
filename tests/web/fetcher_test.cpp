// The HTTP fetcher: its reading of every kind of answer, fed block by block
// from memory (each block one receive), and its requests and time-out on the
// test web. Its failures are in the failure table of url_download_test.cpp.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "tests/testweb/test_web.h"
#include "tests/web/web_env.h"
#include "web/fetcher.h"

namespace {

struct Feed {
  std::vector<std::string> blocks;
  bool holdOpen = false; // after the blocks: a time-out rather than a close
  std::size_t at = 0;
  std::string written;
};

long Receive(void* context, char* buffer, std::size_t size) {
  Feed& feed = *static_cast<Feed*>(context);
  if (feed.at >= feed.blocks.size())
    return feed.holdOpen ? -1 : 0;
  std::string& block = feed.blocks[feed.at];
  std::size_t n = std::min(size, block.size());
  std::memcpy(buffer, block.data(), n);
  if (n == block.size())
    ++feed.at;
  else
    block.erase(0, n);
  return static_cast<long>(n);
}

bool Write(void* context, const char* data, std::size_t size) {
  static_cast<Feed*>(context)->written.append(data, size);
  return true;
}

TEST(ReadFetchAnswer, ReadsEachKindOfAnswer) {
  SetWebSleepForTests([](unsigned) {});
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n";
  const std::string chunked = head + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string noLength = "HTTP/1.0 200 OK\r\nServer: test\r\n\r\n";
  const std::string big(20000, 'x');
  const std::string longPath = "http://c.test/" + std::string(600, 'a');
  struct Row {
    const char* name;
    std::vector<std::string> blocks;
    bool holdOpen;
    int result;
    std::string written;
    std::string path; // the redirect buffer afterwards
  };
  const Row rows[] = {
      {"plain length",
       {head + "Content-Length: 11\r\n\r\nhello world"},
       false,
       FetchDone,
       "hello world",
       "p"},
      {"length smaller than the body",
       {head + "Content-Length: 5\r\n\r\nhello world"},
       false,
       FetchDone,
       "hello",
       "p"},
      {"length over several blocks",
       {head + "Content-Length: 11\r\n\r\nhel", "lo world"},
       false,
       FetchDone,
       "hello world",
       "p"},
      {"headers alone in the first block",
       {head + "Content-Length: 11\r\n\r\n", "hello world"},
       false,
       FetchDone,
       "",
       "p"},
      {"chunked, several chunks, the line held open",
       {chunked + "5\r\nhello\r\n", "6\r\n world\r\n", "0\r\n\r\n"},
       true,
       FetchDone,
       "hello world",
       "p"},
      {"chunked, a bad next size ends it",
       {chunked + "5\r\nhello\r\nzz\r\nnot this"},
       true,
       FetchDone,
       "hello",
       "p"},
      {"chunked, a chunk larger than one block",
       {chunked + "4e20\r\n" + big, "\r\n3\r\nend\r\n0\r\n\r\n"},
       true,
       FetchDone,
       big + "end",
       "p"},
      {"no length, the server closes",
       {noLength + "plain body", " and more"},
       false,
       FetchDone,
       noLength + "plain body and more",
       "p"},
      {"no length, keep-alive ended by 0 CRLF CRLF",
       {noLength + "first part", " last0\r\n\r\n"},
       true,
       FetchDone,
       noLength + "first part last0\r\n\r\n",
       "p"},
      {"another status is saved like a page",
       {"HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\ngone"},
       false,
       FetchDone,
       "gone",
       "p"},
      {"Content-Length: in a chunked page is taken for the header",
       {chunked + "14\r\nContent-Length: 3 ab\r\n0\r\n\r\n"},
       true,
       FetchDone,
       "14\r",
       "p"},
      {"303 in the status line",
       {"HTTP/1.1 303 See Other\r\nLocation: http://other.test/next?a=1\r\n"
        "Content-Length: 0\r\n\r\n"},
       false,
       FetchSeeOther,
       "",
       "http://other.test/next?a=1"},
      {"303 only in the page text",
       {head + "Content-Length: 60\r\n\r\n<p>303 See Other</p>Location:\thttp://b.test/x\r\n"},
       false,
       FetchSeeOther,
       "",
       "http://b.test/x"},
      {"303 without a Location",
       {head + "Content-Length: 20\r\n\r\n<p>303 See Other</p>"},
       false,
       FetchSeeOtherNowhere,
       "",
       "p"},
      {"Location too long for the buffer",
       {"HTTP/1.1 303 See Other\r\nLocation: " + longPath + "\r\n\r\n"},
       false,
       FetchSeeOtherTooLong,
       "",
       "p"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Feed feed;
    feed.blocks = row.blocks;
    feed.holdOpen = row.holdOpen;
    FetchIo io;
    io.context = &feed;
    io.receive = Receive;
    io.write = Write;
    char path[FetchPathSize] = "p";
    EXPECT_EQ(ReadFetchAnswer(io, path, sizeof path), row.result);
    EXPECT_EQ(feed.written, row.written);
    EXPECT_EQ(std::string(path), row.path);
  }
  SetWebSleepForTests(nullptr);
}

TEST(FetchToFile, AsksByTheTemplateAndGivesUpOnASilentServer) {
  WebEnv env = MakeWebEnv();
  {
    TestWeb web;
    web.Answer("site.test", "*", {"body=x"});
    web.Answer("silent.test", "*", {"delay=5000", "body=never"});
    ASSERT_TRUE(web.Start());
    web.WriteHosts(env.root / "system", {"site.test", "silent.test"});
    struct Row {
      const char* url;
      const char* target;
    };
    const Row rows[] = {
        {"http://site.test/dir/page.htm?x=1", "/dir/page.htm?x=1"},
        {"site.test/a/b", "/a/b"}, // no double slash: host and path as they stand
        {"http://site.test", "/"},
    };
    // The first row replaces a read-only file.
    std::string out = env.File("out");
    WriteWhole(out, "old text");
    chmod(out.c_str(), 0444);
    for (const Row& row : rows) {
      SCOPED_TRACE(row.url);
      char path[FetchPathSize];
      std::snprintf(path, sizeof path, "%s", out.c_str());
      testing::internal::CaptureStdout();
      EXPECT_EQ(FetchToFile(row.url, path), FetchDone);
      EXPECT_EQ(testing::internal::GetCapturedStdout(),
                "The Socket was created\nThe connection was accepted with the server "
                "127.0.0.1...\n");
      EXPECT_EQ(ReadWhole(out), "x");
      ASSERT_FALSE(web.Requests().empty());
      EXPECT_EQ(web.Requests().back().host, "site.test");
      EXPECT_EQ(web.Requests().back().target, row.target);
    }
    // The server neither answers nor closes for 5 s: the
    // fetcher gives up after the 2 s of FetchTimeout.
    char path[FetchPathSize];
    std::snprintf(path, sizeof path, "%s", out.c_str());
    auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStdout();
    EXPECT_EQ(FetchToFile("http://silent.test/p", path), FetchDone);
    testing::internal::GetCapturedStdout();
    auto spent = std::chrono::steady_clock::now() - start;
    EXPECT_GE(spent, std::chrono::milliseconds(1500));
    EXPECT_LT(spent, std::chrono::milliseconds(4500));
    EXPECT_EQ(ReadWhole(out), "");
  }
  DropWebEnv(env);
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
